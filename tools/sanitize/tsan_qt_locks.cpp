// Qt's locks made visible to ThreadSanitizer, linked into the TSan build only.
//
// Debian's Qt is not built with TSan: QMutex is a futex inside libQt5Core, so
// TSan sees no order between two threads that take the same QMutex and
// reports the data it guards as raced. The build wraps (ld --wrap, see
// CMakeLists.txt) the calls that the program's own code makes into
// QMutex, QWaitCondition and QReadWriteLock, and each wrapper tells TSan what
// the lock does: taking it acquires what the last holder released. Only
// happens-before is annotated, not ownership: TSan's lock-order checks do not
// cover these locks. Locks taken inside Qt stay invisible (see
// tools/sanitize/tsan.supp).
#include <QDeadlineTimer>
#include <QMutex>
#include <QReadWriteLock>
#include <QWaitCondition>

#include <sanitizer/tsan_interface.h>

// The real functions, by their mangled names (ld --wrap=<name> sends the
// program's calls to __wrap_<name> and __real_<name> to the original).
#define KX4_REAL_AND_WRAP(ret, name, ...)                                                                              \
    extern "C" ret __real_##name(__VA_ARGS__);                                                                         \
    extern "C" ret __wrap_##name(__VA_ARGS__)

// QMutex::lock()
KX4_REAL_AND_WRAP(void, _ZN6QMutex4lockEv, QMutex *m)
{
    __real__ZN6QMutex4lockEv(m);
    __tsan_acquire(m);
}
// QMutex::tryLock(int)
KX4_REAL_AND_WRAP(bool, _ZN6QMutex7tryLockEi, QMutex *m, int timeout)
{
    const bool locked = __real__ZN6QMutex7tryLockEi(m, timeout);
    if (locked)
        __tsan_acquire(m);
    return locked;
}
// QMutex::unlock()
KX4_REAL_AND_WRAP(void, _ZN6QMutex6unlockEv, QMutex *m)
{
    __tsan_release(m);
    __real__ZN6QMutex6unlockEv(m);
}

// QReadWriteLock: readers and writers alike acquire and release the one
// address (two readers are ordered too, which only hides races between them).
KX4_REAL_AND_WRAP(void, _ZN14QReadWriteLock11lockForReadEv, QReadWriteLock *l)
{
    __real__ZN14QReadWriteLock11lockForReadEv(l);
    __tsan_acquire(l);
}
KX4_REAL_AND_WRAP(void, _ZN14QReadWriteLock12lockForWriteEv, QReadWriteLock *l)
{
    __real__ZN14QReadWriteLock12lockForWriteEv(l);
    __tsan_acquire(l);
}
KX4_REAL_AND_WRAP(bool, _ZN14QReadWriteLock14tryLockForReadEv, QReadWriteLock *l)
{
    const bool locked = __real__ZN14QReadWriteLock14tryLockForReadEv(l);
    if (locked)
        __tsan_acquire(l);
    return locked;
}
KX4_REAL_AND_WRAP(bool, _ZN14QReadWriteLock14tryLockForReadEi, QReadWriteLock *l, int timeout)
{
    const bool locked = __real__ZN14QReadWriteLock14tryLockForReadEi(l, timeout);
    if (locked)
        __tsan_acquire(l);
    return locked;
}
KX4_REAL_AND_WRAP(bool, _ZN14QReadWriteLock15tryLockForWriteEv, QReadWriteLock *l)
{
    const bool locked = __real__ZN14QReadWriteLock15tryLockForWriteEv(l);
    if (locked)
        __tsan_acquire(l);
    return locked;
}
KX4_REAL_AND_WRAP(bool, _ZN14QReadWriteLock15tryLockForWriteEi, QReadWriteLock *l, int timeout)
{
    const bool locked = __real__ZN14QReadWriteLock15tryLockForWriteEi(l, timeout);
    if (locked)
        __tsan_acquire(l);
    return locked;
}
KX4_REAL_AND_WRAP(void, _ZN14QReadWriteLock6unlockEv, QReadWriteLock *l)
{
    __tsan_release(l);
    __real__ZN14QReadWriteLock6unlockEv(l);
}

// QWaitCondition: the wait gives the lock up and takes it again, and a wake
// orders what the waker did before it with what the woken thread does after.
KX4_REAL_AND_WRAP(bool, _ZN14QWaitCondition4waitEP6QMutex14QDeadlineTimer, QWaitCondition *c, QMutex *m,
                  QDeadlineTimer deadline)
{
    __tsan_release(m);
    const bool woken = __real__ZN14QWaitCondition4waitEP6QMutex14QDeadlineTimer(c, m, deadline);
    __tsan_acquire(m);
    __tsan_acquire(c);
    return woken;
}
KX4_REAL_AND_WRAP(bool, _ZN14QWaitCondition4waitEP6QMutexm, QWaitCondition *c, QMutex *m, unsigned long ms)
{
    __tsan_release(m);
    const bool woken = __real__ZN14QWaitCondition4waitEP6QMutexm(c, m, ms);
    __tsan_acquire(m);
    __tsan_acquire(c);
    return woken;
}
KX4_REAL_AND_WRAP(bool, _ZN14QWaitCondition4waitEP14QReadWriteLock14QDeadlineTimer, QWaitCondition *c,
                  QReadWriteLock *l, QDeadlineTimer deadline)
{
    __tsan_release(l);
    const bool woken = __real__ZN14QWaitCondition4waitEP14QReadWriteLock14QDeadlineTimer(c, l, deadline);
    __tsan_acquire(l);
    __tsan_acquire(c);
    return woken;
}
KX4_REAL_AND_WRAP(bool, _ZN14QWaitCondition4waitEP14QReadWriteLockm, QWaitCondition *c, QReadWriteLock *l,
                  unsigned long ms)
{
    __tsan_release(l);
    const bool woken = __real__ZN14QWaitCondition4waitEP14QReadWriteLockm(c, l, ms);
    __tsan_acquire(l);
    __tsan_acquire(c);
    return woken;
}
KX4_REAL_AND_WRAP(void, _ZN14QWaitCondition7wakeOneEv, QWaitCondition *c)
{
    __tsan_release(c);
    __real__ZN14QWaitCondition7wakeOneEv(c);
}
KX4_REAL_AND_WRAP(void, _ZN14QWaitCondition7wakeAllEv, QWaitCondition *c)
{
    __tsan_release(c);
    __real__ZN14QWaitCondition7wakeAllEv(c);
}
