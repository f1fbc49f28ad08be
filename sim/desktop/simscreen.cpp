#include "simscreen.h"

#include <QAbstractButton>
#include <QApplication>
#include <QMouseEvent>
#include <QPointer>
#include <QTabBar>
#include <QTimer>
#include <QWidget>

#include <chrono>
#include <future>
#include <memory>
#include <mutex>

namespace {

// How long the service loop waits for the main thread to look.
const auto ScreenAnswerTimeout = std::chrono::milliseconds(2000);

QString shownText(const QWidget *w)
{
    const auto *button = qobject_cast<const QAbstractButton *>(w);
    return button ? button->text().remove(QLatin1Char('&')) : QString();
}

// Visible widgets of the visible windows, the buttons first.
QList<QWidget *> visibleWidgets()
{
    QList<QWidget *> buttons, others;
    for (QWidget *top : QApplication::topLevelWidgets()) {
        if (!top->isVisible())
            continue;
        QList<QWidget *> all = top->findChildren<QWidget *>();
        all.prepend(top);
        for (QWidget *w : all)
            if (w->isVisible())
                (qobject_cast<QAbstractButton *>(w) ? buttons : others) << w;
    }
    return buttons + others;
}

// A visible tab whose text is `name`: its bar and index.
QTabBar *tabNamed(const QString &name, int *index)
{
    for (QWidget *w : visibleWidgets())
        if (auto *bar = qobject_cast<QTabBar *>(w))
            for (int i = 0; i < bar->count(); ++i)
                if (bar->isTabEnabled(i) && bar->tabText(i).remove(QLatin1Char('&')) == name) {
                    *index = i;
                    return bar;
                }
    return nullptr;
}

SimControl::Answer touch(const QString &name)
{
    QWidget *target = nullptr;
    for (QWidget *w : visibleWidgets())
        if (w->objectName() == name) {
            target = w;
            break;
        }
    if (!target)
        for (QWidget *w : visibleWidgets())
            if (!shownText(w).isEmpty() && shownText(w) == name) {
                target = w;
                break;
            }
    int tab = -1;
    if (!target)
        if (QTabBar *bar = tabNamed(name, &tab)) {
            QPointer<QTabBar> finger(bar);
            QTimer::singleShot(0, bar, [finger, tab] {
                if (finger)
                    finger->setCurrentIndex(tab);
            });
            return {true, QStringLiteral("touched the tab %1").arg(SimControl::quote(name))};
        }
    if (!target)
        return {false, QStringLiteral("nothing called %1 on the screen; \"screen\" lists what can be touched")
                           .arg(SimControl::quote(name))};
    if (!target->isEnabled())
        return {false, QStringLiteral("%1 is disabled").arg(SimControl::quote(name))};
    QPointer<QWidget> finger(target);
    QTimer::singleShot(0, target, [finger] {
        if (!finger)
            return;
        if (auto *button = qobject_cast<QAbstractButton *>(finger.data())) {
            button->click();
            return;
        }
        const QPoint centre = finger->rect().center();
        QMouseEvent press(QEvent::MouseButtonPress, centre, finger->mapToGlobal(centre), Qt::LeftButton, Qt::LeftButton,
                          Qt::NoModifier);
        QCoreApplication::sendEvent(finger, &press);
        if (!finger)
            return;
        QMouseEvent release(QEvent::MouseButtonRelease, centre, finger->mapToGlobal(centre), Qt::LeftButton,
                            Qt::NoButton, Qt::NoModifier);
        QCoreApplication::sendEvent(finger, &release);
    });
    return {true, QStringLiteral("touched %1")
                      .arg(SimControl::quote(target->objectName().isEmpty() ? name : target->objectName()))};
}

QStringList controls()
{
    QStringList names;
    for (QWidget *w : visibleWidgets()) {
        if (!qobject_cast<QAbstractButton *>(w) || !w->isEnabled())
            continue;
        const QString name = w->objectName().isEmpty() || w->objectName().startsWith(QLatin1String("qt_"))
                                 ? shownText(w)
                                 : w->objectName();
        if (!name.isEmpty())
            names << name;
    }
    for (QWidget *w : visibleWidgets())
        if (auto *bar = qobject_cast<QTabBar *>(w))
            for (int i = 0; i < bar->count(); ++i)
                if (bar->isTabEnabled(i) && i != bar->currentIndex())
                    names << bar->tabText(i).remove(QLatin1Char('&'));
    return names;
}

// Lives on the main thread, a child of the application object; the control
// reaches the widgets only through it, and only while it exists.
struct Agent
{
    std::mutex mutex;
    QObject *object = nullptr;
};

template <class Result>
bool onMainThread(const std::shared_ptr<Agent> &agent, std::function<Result()> look, Result *result)
{
    auto promise = std::make_shared<std::promise<Result>>();
    std::future<Result> answer = promise->get_future();
    {
        std::lock_guard<std::mutex> lock(agent->mutex);
        if (!agent->object)
            return false;
        QMetaObject::invokeMethod(
            agent->object, [promise, look] { promise->set_value(look()); }, Qt::QueuedConnection);
    }
    if (answer.wait_for(ScreenAnswerTimeout) != std::future_status::ready)
        return false;
    *result = answer.get();
    return true;
}

} // namespace

SimControl::Screen SimScreen::install()
{
    auto agent = std::make_shared<Agent>();
    auto *object = new QObject(QCoreApplication::instance());
    agent->object = object;
    QObject::connect(object, &QObject::destroyed, [agent] {
        std::lock_guard<std::mutex> lock(agent->mutex);
        agent->object = nullptr;
    });
    SimControl::Screen screen;
    screen.touch = [agent](const QString &name) {
        SimControl::Answer answer{false, QStringLiteral("the program's screen did not answer")};
        onMainThread<SimControl::Answer>(
            agent, [name] { return touch(name); }, &answer);
        return answer;
    };
    screen.controls = [agent] {
        QStringList names;
        onMainThread<QStringList>(
            agent, [] { return controls(); }, &names);
        return names;
    };
    return screen;
}
