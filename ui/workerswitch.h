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
#pragma once

#include <QObject>
#include <QPointer>
#include <QString>

#include <functional>

enum class Start { Yes, No };

template <class Worker>
class WorkerSwitch
{
public:
    using Wire = std::function<void(Worker *)>;

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
        auto *worker = new Worker(nullptr);
        QObject::connect(worker, &Worker::sendMessage, window, &Window::insertToLog);
        QObject::connect(window, &Window::exitAllThreads, worker, &Worker::exitThread);
        if (wire)
            wire(worker);
        if (start == Start::Yes)
            worker->start();
        m_worker = worker;
        window->insertToLog(onText);
        return worker;
    }

    // The worker last switched on, while it exists.
    Worker *worker() const { return m_worker.data(); }
    bool running() const { return m_worker && m_worker->isRunning(); }

private:
    QPointer<Worker> m_worker;
};
