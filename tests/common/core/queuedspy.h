// A QSignalSpy for a signal emitted on another thread: a worker, the hot-plug
// listener, the logging thread. QSignalSpy records through a direct
// connection, so it appends in the emitting thread while the test reads or
// destroys the list on its own. This spy records through a queued connection
// on the thread that made it, as a window receives the signal; the list is
// only ever touched there.
//
//     QueuedSpy removed(USBSignal::instance(), &USBSignal::deviceRemove);
//     QTRY_VERIFY(removed.contains(QVariantList{"sdb1"}));
//
// The signal's argument types must be known to the meta-type system, as for
// any queued connection.
#pragma once

#include <QList>
#include <QMetaMethod>
#include <QObject>
#include <QVariant>
#include <QVector>

class QueuedSpy : public QObject, public QList<QList<QVariant>>
{
public:
    template <typename Signal>
    QueuedSpy(const typename QtPrivate::FunctionPointer<Signal>::Object *sender, Signal signal)
        : QueuedSpy(sender, QMetaMethod::fromSignal(signal))
    {
    }
    QueuedSpy(const QObject *sender, const QMetaMethod &signal);

    // Runs the event loop until a recording arrives after the call, or the
    // time runs out.
    bool wait(int timeoutMs = 5000);

    int qt_metacall(QMetaObject::Call call, int id, void **args) override;

private:
    QVector<int> m_types;
};
