// What every fuzz target asserts: a broken rule stops the run with the rule's
// text, and libFuzzer keeps the input that broke it.
#pragma once

#include <QByteArray>
#include <QString>

#include <cstdio>
#include <cstdlib>

#define FUZZ_CHECK(condition)                                                                                          \
    do {                                                                                                               \
        if (!(condition)) {                                                                                            \
            std::fprintf(stderr, "%s:%d: rule broken: %s\n", __FILE__, __LINE__, #condition);                          \
            std::abort();                                                                                              \
        }                                                                                                              \
    } while (false)

// The input as the program holds it: its own copy, so a read past the end
// lands outside the allocation the sanitizer watches.
inline QByteArray fuzzBytes(const uint8_t *data, size_t size)
{
    return QByteArray(reinterpret_cast<const char *>(data), int(size));
}
