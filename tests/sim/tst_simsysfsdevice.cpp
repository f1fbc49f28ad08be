// The attribute-file models: what they lay out and take away, and which
// writes they take for the program's (the backlight is read by the
// brightness tests, the power supplies by the battery monitor's test).
#include "simsysfsdevice.h"
#include "simterminal.h"

#include <QtTest>

#include <atomic>

namespace {
// A device with two attributes that notes every write it is told about.
class RecordingDevice : public SimSysfsDevice
{
public:
    RecordingDevice() : SimSysfsDevice(QStringLiteral("/sys/class/test/")) {}

    std::atomic<bool> onlyOnLoop{true};

    QStringList seen() const
    {
        QMutexLocker lock(&mutex);
        return m_seen;
    }

protected:
    void layOut() override
    {
        writeAttribute(QStringLiteral("switch"), "0\n");
        writeAttribute(QStringLiteral("unit.1/level"), "5\n");
        writeAttribute(QStringLiteral("marker"), "0\n");
    }
    void attributeWritten(const QString &attribute, const QByteArray &content) override
    {
        if (!terminal()->inServiceLoop())
            onlyOnLoop = false;
        m_seen << attribute + QLatin1Char('=') + QString::fromLatin1(content);
    }

private:
    QStringList m_seen;
};

// A write as the program makes it: open with truncation, one write, close.
bool programWrite(SimTerminal &sim, const QString &path, const QByteArray &bytes)
{
    QFile file(sim.hostPath(path));
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Unbuffered)
           && file.write(bytes) == bytes.size();
}
}

class TestSimSysfsDevice : public QObject
{
    Q_OBJECT
private slots:
    void layoutAndRemoval()
    {
        // Only the model's own files and the subfolders they leave empty go;
        // the class folder and anything else in it stay.
        SimTerminal sim;
        auto *device = sim.add<RecordingDevice>();
        QCOMPARE(device->attribute(QStringLiteral("unit.1/level")), QByteArray("5\n"));
        device->setAttribute(QStringLiteral("unit.2/deep/extra"), "x");
        QCOMPARE(sim.readFile(QStringLiteral("/sys/class/test/unit.2/deep/extra")), QByteArray("x"));
        QVERIFY(sim.writeFile(QStringLiteral("/sys/class/test/unit.1/foreign"), "f"));
        device->removeAttribute(QStringLiteral("switch"));
        QVERIFY(!device->hasAttribute(QStringLiteral("switch")) && device->isPresent());
        device->setPresent(false);
        QVERIFY(!device->isPresent());
        QVERIFY(!sim.exists(QStringLiteral("/sys/class/test/unit.2")));
        QCOMPARE(sim.readFile(QStringLiteral("/sys/class/test/unit.1/foreign")), QByteArray("f"));
        QVERIFY(!sim.exists(QStringLiteral("/sys/class/test/unit.1/level")));
        // Present again: laid out afresh, the extra attribute not among them.
        device->setPresent(true);
        QCOMPARE(device->attribute(QStringLiteral("switch")), QByteArray("0\n"));
        QVERIFY(!sim.exists(QStringLiteral("/sys/class/test/unit.2")));
    }

    void whichWritesAreThePrograms_data()
    {
        QTest::addColumn<bool>("byModel");
        QTest::addColumn<QString>("path"); // below /sys/class/test/
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QStringList>("seen");
        QTest::newRow("program") << false << "switch" << QByteArray("1") << QStringList({"switch=1"});
        QTest::newRow("program, subfolder")
            << false << "unit.1/level" << QByteArray("7\n") << QStringList({"unit.1/level=7\n"});
        QTest::newRow("program, same content") << false << "switch" << QByteArray("0\n") << QStringList();
        QTest::newRow("program, empty write") << false << "switch" << QByteArray() << QStringList();
        QTest::newRow("program, not an attribute") << false << "stray" << QByteArray("1") << QStringList();
        QTest::newRow("model") << true << "switch" << QByteArray("9\n") << QStringList();
    }
    void whichWritesAreThePrograms()
    {
        QFETCH(bool, byModel);
        QFETCH(QString, path);
        QFETCH(QByteArray, bytes);
        QFETCH(QStringList, seen);
        SimTerminal sim;
        auto *device = sim.add<RecordingDevice>();
        QVERIFY(sim.writeFile(QStringLiteral("/sys/class/test/stray"), "0"));
        if (byModel)
            device->setAttribute(path, bytes);
        else
            QVERIFY(programWrite(sim, QStringLiteral("/sys/class/test/") + path, bytes));
        // A later write the model must see marks the end of what it was told.
        QVERIFY(programWrite(sim, QStringLiteral("/sys/class/test/marker"), "end"));
        QTRY_VERIFY(device->seen().contains(QStringLiteral("marker=end")));
        QCOMPARE(device->seen(), seen + QStringList({"marker=end"}));
        QCOMPARE(device->writes().size(), seen.size() + 1);
        QCOMPARE(device->writes().last().content, QByteArray("end"));
        QVERIFY(device->onlyOnLoop);
    }
};

QTEST_GUILESS_MAIN(TestSimSysfsDevice)
#include "tst_simsysfsdevice.moc"
