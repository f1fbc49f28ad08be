// A mutex and one-line locked reads and writes of the fields it guards: what
// a model's control API is mostly made of.
//
//     int readCount() const { return locked(m_reads); }
//     void setMains(bool online) { setLocked(m_mains, online); }
#pragma once

#include <QByteArray>
#include <QMutex>

#include <atomic>
#include <type_traits>
#include <utility>

class SimGuarded
{
protected:
    template <class T> T locked(const T &field) const
    {
        QMutexLocker lock(&mutex);
        return field;
    }
    // The value's type is the field's: setLocked(m_count, 0), setLocked(m_calls, {}).
    template <class T> void setLocked(T &field, std::common_type_t<T> value)
    {
        QMutexLocker lock(&mutex);
        field = std::move(value);
    }

    // What a model records for tests to read back (packets, commands,
    // writes, bytes on a line), the caller holding the lock. Without bound
    // unless setKeepLast() gave one: a program that runs for hours (the
    // desktop program) keeps the last `entries` of each list and as many
    // bytes of each byte record.
    template <class List, class Item> static void keep(List &list, Item &&item)
    {
        list.append(std::forward<Item>(item));
        trim(list);
    }
    template <class List> static void trim(List &list)
    {
        const int limit = keepLast();
        const int over = int(list.size()) - limit;
        if (limit > 0 && over > 0)
            list.erase(list.begin(), list.begin() + over);
    }
    static void trim(QByteArray &bytes)
    {
        const int limit = keepLast();
        if (limit > 0 && bytes.size() > limit)
            bytes.remove(0, bytes.size() - limit);
    }

    mutable QMutex mutex;

public:
    static void setKeepLast(int entries) { s_keepLast.store(entries); }
    static int keepLast() { return s_keepLast.load(); }

private:
    static inline std::atomic<int> s_keepLast{0};
};
