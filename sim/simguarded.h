// A mutex and one-line locked reads and writes of the fields it guards: what
// a model's control API is mostly made of.
//
//     int readCount() const { return locked(m_reads); }
//     void setMains(bool online) { setLocked(m_mains, online); }
#pragma once

#include <QMutex>

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

    mutable QMutex mutex;
};
