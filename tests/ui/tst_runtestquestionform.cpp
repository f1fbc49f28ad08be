// The start-up screens: the run-mode question with its countdown, the wait
// box and the banner. The countdown is driven by hand: each tick is the
// question's own timer event, sent without the event loop running, so no
// real tick comes in between.
#include "adform.h"
#include "runtestquestionform.h"
#include "screenshot.h"
#include "testdisplaycolor.h"
#include "waitform.h"

#include <QLabel>
#include <QPushButton>
#include <QTimer>
#include <QtTest>

#include <memory>

class TestRunTestQuestionForm : public QObject
{
    Q_OBJECT
private slots:
    void untouchedPicksAutoAfter20000Ticks();
    void answerStopsTheCountdown_data();
    void answerStopsTheCountdown();
    void countdownEndedBeforeTheQuestionRuns();
    void minutesAndFirstFill();
    void formTexts_data();
    void formTexts();
    void screenshots();
};

namespace {

struct Question
{
    RunTestQuestionForm form;
    QTimer *timer = form.findChild<QTimer *>(QStringLiteral("countdownTimer"));
    QLabel *time = form.findChild<QLabel *>(QStringLiteral("labTime"));
    QSignalSpy finished{&form, &QDialog::finished};

    // `n` ticks as the event loop delivers them.
    void tick(int n, int timerId)
    {
        for (int i = 0; i < n; ++i) {
            QTimerEvent event(timerId);
            QCoreApplication::sendEvent(timer, &event);
        }
    }
    void tick(int n) { tick(n, timer->timerId()); }
};

} // namespace

void TestRunTestQuestionForm::untouchedPicksAutoAfter20000Ticks()
{
    Question q;
    QVERIFY(q.timer && q.time);
    QVERIFY(q.timer->isActive());
    QCOMPARE(q.timer->interval(), 1);
    QCOMPARE(q.time->text(), QStringLiteral("00:00:00"));
    q.tick(1);
    QCOMPARE(q.time->text(), QStringLiteral("00:19.999"));
    q.tick(9999);
    QCOMPARE(q.time->text(), QStringLiteral("00:10.000"));
    q.tick(9999);
    QCOMPARE(q.time->text(), QStringLiteral("00:00.001"));
    QVERIFY(q.finished.isEmpty());
    q.tick(1);
    QCOMPARE(q.finished.size(), 1);
    QCOMPARE(q.finished.at(0).at(0).toInt(), 1);
    // Never below zero, whatever comes after.
    const int id = q.timer->timerId();
    q.tick(5, id);
    QCOMPARE(q.time->text(), QStringLiteral("00:00.000"));
    QCOMPARE(q.finished.size(), 1);
    QVERIFY(!q.timer->isActive());
}

void TestRunTestQuestionForm::answerStopsTheCountdown_data()
{
    QTest::addColumn<QString>("button");
    QTest::addColumn<int>("ticksBefore");
    QTest::addColumn<int>("result");
    QTest::newRow("manual at once") << "butManualTest" << 0 << 2;
    QTest::newRow("manual at the last moment") << "butManualTest" << 19999 << 2;
    QTest::newRow("auto") << "butAutoTest" << 500 << 1;
    // Rejected with Escape: no answer, and the countdown never answers later.
    QTest::newRow("Escape") << "" << 500 << 0;
}

void TestRunTestQuestionForm::answerStopsTheCountdown()
{
    QFETCH(QString, button);
    QFETCH(int, ticksBefore);
    QFETCH(int, result);
    Question q;
    q.tick(ticksBefore);
    const int id = q.timer->timerId();
    if (button.isEmpty()) {
        QTest::keyClick(&q.form, Qt::Key_Escape);
    } else {
        auto *b = q.form.findChild<QPushButton *>(button);
        QVERIFY(b);
        QTest::mouseClick(b, Qt::LeftButton);
    }
    QCOMPARE(q.finished.size(), 1);
    QCOMPARE(q.finished.at(0).at(0).toInt(), result);
    QVERIFY(!q.timer->isActive());
    // Ticks still on their way change neither the result nor the time shown.
    const QString shown = q.time->text();
    q.tick(20000, id);
    QCOMPARE(q.form.result(), result);
    QCOMPARE(q.finished.size(), 1);
    QCOMPARE(q.time->text(), shown);
}

void TestRunTestQuestionForm::countdownEndedBeforeTheQuestionRuns()
{
    // The last tick of a very short countdown comes in an event pass before
    // the question runs modally: the answer is kept, and exec() returns it at
    // once instead of waiting at "00:00.000".
    Question q;
    q.form.setRemainingTime(2);
    q.tick(2);
    QCOMPARE(q.finished.size(), 1);
    // Only a broken question would still be waiting when this fires.
    QTimer::singleShot(10000, &q.form, [&q] { q.form.QDialog::done(99); });
    QCOMPARE(q.form.exec(), 1);
    QCOMPARE(q.finished.size(), 1);
}

void TestRunTestQuestionForm::minutesAndFirstFill()
{
    {
        Question q;
        q.form.setRemainingTime(125001);
        q.tick(1);
        QCOMPARE(q.time->text(), QStringLiteral("02:05.000"));
    }
    // The label is filled before the first tick of the timer.
    Question q;
    QTRY_VERIFY(q.time->text().startsWith(QStringLiteral("00:19.")));
}

// The small windows' own texts, names and flags, as the forms give them
// (the service menu's are in its own test).
void TestRunTestQuestionForm::formTexts_data()
{
    QTest::addColumn<QString>("form");
    QTest::addColumn<QString>("object");
    QTest::addColumn<QString>("text");
    QTest::newRow("auto") << "question"
                          << "butAutoTest"
                          << "Auto test";
    QTest::newRow("manual") << "question"
                            << "butManualTest"
                            << "Manual test";
    QTest::newRow("time to start") << "question"
                                   << "labTimeToStart"
                                   << "Time to start:";
    QTest::newRow("colour test title") << "colour"
                                       << ""
                                       << "Dialog";
    QTest::newRow("colour test label cleared") << "colour"
                                               << "label"
                                               << "";
}

void TestRunTestQuestionForm::formTexts()
{
    QFETCH(QString, form);
    QFETCH(QString, object);
    QFETCH(QString, text);
    std::unique_ptr<QWidget> w;
    if (form == "question")
        w.reset(new RunTestQuestionForm);
    else
        w.reset(new TestDisplayColor(nullptr));
    // Each is frameless; the colour test is a dialog without anything else.
    QVERIFY(w->windowFlags() & Qt::FramelessWindowHint);
    if (form == "colour") {
        QCOMPARE(w->windowFlags(), Qt::Dialog | Qt::FramelessWindowHint);
        QCOMPARE(w->objectName(), QStringLiteral("TestDisplayColor"));
    }
    if (object.isEmpty()) {
        QCOMPARE(w->windowTitle(), text);
        return;
    }
    auto *button = w->findChild<QAbstractButton *>(object);
    auto *label = w->findChild<QLabel *>(object);
    QVERIFY2(button || label, qPrintable(object));
    QCOMPARE(button ? button->text() : label->text(), text);
}

void TestRunTestQuestionForm::screenshots()
{
    Question q;
    q.tick(2345);
    q.form.resize(800, 300);
    const QImage question = saveScreenshot(&q.form, QStringLiteral("runtestquestionform"));
    QCOMPARE(question.pixelColor(2, question.height() - 2), QColor(Qt::black));

    WaitForm wait;
    wait.setLabel(QStringLiteral("Scan HW..."));
    auto *text = wait.findChild<QLabel *>(QStringLiteral("labText"));
    QVERIFY(text);
    QCOMPARE(text->text(), QStringLiteral("Scan HW..."));
    auto *picture = wait.findChild<QLabel *>(QStringLiteral("labPicture"));
    QVERIFY(picture && !picture->pixmap(Qt::ReturnByValue).isNull());
    wait.adjustSize();
    const QImage box = saveScreenshot(&wait, QStringLiteral("waitform"));
    QCOMPARE(box.pixelColor(1, 1), QColor(0, 255, 127));
    // The hourglass picture sits left of the text: its blue disc.
    const QPoint centre = picture->mapTo(&wait, picture->rect().center());
    QCOMPARE(box.pixelColor(centre.x() - picture->width() / 4, centre.y()), QColor(20, 60, 160));

    ADForm ad;
    QCOMPARE(ad.height(), 75);
    const QImage banner = saveScreenshot(&ad, QStringLiteral("adform"));
    QVERIFY(banner.pixelColor(banner.width() / 2, banner.height() / 2) != QColor(Qt::black));
}

QTEST_MAIN(TestRunTestQuestionForm)
#include "tst_runtestquestionform.moc"
