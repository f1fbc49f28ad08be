// One peripheral test switched on and off the way both test windows do it.
//
// On: the worker is created without a parent (it deletes itself when its run
// ends), its messages go to the window's insertToLog(), the window's
// exitAllThreads() reaches its exitThread(), the window adds its own
// connections (a data signal, a contrast control) and may prepare it, then it
// is started with the inherited priority and the on-text is logged. Off: a
// worker that still exists is told to stop, and the off-text is logged.
//
//     WorkerSwitch<MagCardThread> magCard;
//     magCard.set(this, checked, tr("MSR monitor is On."), tr("MSR monitor is Off."),
//                 [this](MagCardThread *w) { connect(w, &MagCardThread::magcardData, this, &Form::magcardData); });
//
// A window that creates a worker without starting it (the burn-in monitor's
// printer) passes Start::No. Window is any QObject with a signal
// exitAllThreads() and a slot insertToLog(QString).
//
// A worker that is no thread (the disk test, which reacts to device events on
// the GUI thread) is switched the same way: there is nothing to start, and
// its exitThread() ends it. A worker that cannot be created (out of memory)
// gives nullptr and nothing is logged, so the window can say which one failed.
#pragma once

#include <QObject>
#include <QPointer>
#include <QString>
#include <QThread>

#include <functional>
#include <new>
#include <type_traits>

enum class Start { Yes, No };

template <class Worker> class WorkerSwitch
{
public:
    using Wire = std::function<void(Worker *)>;
    static constexpr bool IsThread = std::is_base_of<QThread, Worker>::value;

    // Switches on (a new worker) or off (stops the current one). Returns the
    // new worker when switched on.
    template <class Window>
    Worker *set(Window *window, bool on, const QString &onText, const QString &offText, const Wire &wire = Wire(),
                Start start = Start::Yes)
    {
        if (!on) {
            if (m_worker)
                m_worker->exitThread();
            window->insertToLog(offText);
            return nullptr;
        }
        auto *worker = new (std::nothrow) Worker(nullptr);
        if (!worker)
            return nullptr;
        QObject::connect(worker, &Worker::sendMessage, window, &Window::insertToLog);
        QObject::connect(window, &Window::exitAllThreads, worker, &Worker::exitThread);
        if (wire)
            wire(worker);
        if constexpr (IsThread) {
            if (start == Start::Yes)
                worker->start(QThread::InheritPriority);
        }
        m_worker = worker;
        window->insertToLog(onText);
        return worker;
    }

    // The worker last switched on, while it exists.
    Worker *worker() const { return m_worker.data(); }
    bool running() const
    {
        if constexpr (IsThread)
            return m_worker && m_worker->isRunning();
        else
            return !m_worker.isNull();
    }

private:
    QPointer<Worker> m_worker;
};
