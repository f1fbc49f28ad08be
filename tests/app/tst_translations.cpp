// The translations: every operator text in the sources has a finished
// translation in each .ts file kept in the repository, and the program picks
// the one of the system locale at start-up.
#include "programrun.h"
#include "testsupport.h"

#include <QtTest>

#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QXmlStreamReader>

class TestTranslations : public QObject
{
    Q_OBJECT
private slots:
    void everyTextTranslated_data();
    void everyTextTranslated();
    void programSpeaksTheLocale_data();
    void programSpeaksTheLocale();
};

namespace {

const QString sourceDir = QStringLiteral(KX4_SOURCE_DIR);

struct Message
{
    QString context, source, comment;
    QStringList translations; // one, or one per plural form
    QString type; // "", "unfinished", "vanished", "obsolete"
};

QString key(const Message &m)
{
    return m.context + QChar(0x1f) + m.source + QChar(0x1f) + m.comment;
}

QString show(const Message &m)
{
    QString source = m.source;
    source.replace(QLatin1Char('\n'), QStringLiteral("\\n")).replace(QLatin1Char('\t'), QStringLiteral("\\t"));
    return QStringLiteral("[%1] \"%2\"%3")
        .arg(m.context, source, m.comment.isEmpty() ? QString() : QStringLiteral(" (%1)").arg(m.comment));
}

QList<Message> readTs(const QString &file, QString *error)
{
    QFile f(file);
    if (!f.open(QIODevice::ReadOnly)) {
        *error = QStringLiteral("cannot read %1").arg(file);
        return {};
    }
    QList<Message> messages;
    QString context;
    Message m;
    QXmlStreamReader xml(&f);
    while (!xml.atEnd()) {
        xml.readNext();
        if (xml.isEndElement() && xml.name() == QLatin1String("message"))
            messages << m;
        if (!xml.isStartElement())
            continue;
        const QStringRef name = xml.name();
        if (name == QLatin1String("name")) {
            context = xml.readElementText();
        } else if (name == QLatin1String("message")) {
            m = Message();
            m.context = context;
        } else if (name == QLatin1String("source")) {
            m.source = xml.readElementText();
        } else if (name == QLatin1String("comment")) {
            m.comment = xml.readElementText();
        } else if (name == QLatin1String("translation")) {
            m.type = xml.attributes().value(QLatin1String("type")).toString();
            if (xml.attributes().value(QLatin1String("numerus")) != QLatin1String("yes"))
                m.translations << xml.readElementText();
        } else if (name == QLatin1String("numerusform")) {
            m.translations << xml.readElementText();
        } else if (name != QLatin1String("TS") && name != QLatin1String("context")) {
            xml.skipCurrentElement();
        }
    }
    if (xml.hasError())
        *error = QStringLiteral("%1:%2: %3").arg(file).arg(xml.lineNumber()).arg(xml.errorString());
    return messages;
}

QStringList placeholders(const QString &text)
{
    QStringList found;
    QRegularExpressionMatchIterator it = QRegularExpression(QStringLiteral("%L?\\d+")).globalMatch(text);
    while (it.hasNext())
        found << it.next().captured();
    found.sort();
    found.removeDuplicates();
    return found;
}

// "PRN: ", "COMThread: ", "MarvoFunction: ": the device or class a message
// comes from stays as it is in every language.
QString prefix(const QString &text)
{
    static const QRegularExpression re(QStringLiteral("^[A-Z][A-Za-z0-9]*[A-Z][A-Za-z0-9]*: "));
    return re.match(text).captured();
}

struct Output
{
    bool ok = false;
    QString out, err;
};

Output run(const QString &program, const QStringList &args, const QString &dir = sourceDir)
{
    QProcess p;
    p.setWorkingDirectory(dir);
    p.start(program, args);
    Output o;
    o.ok = p.waitForFinished(120000) && p.exitStatus() == QProcess::NormalExit && p.exitCode() == 0;
    o.out = QString::fromLocal8Bit(p.readAllStandardOutput());
    o.err = QString::fromLocal8Bit(p.readAllStandardError());
    return o;
}

QStringList translationFiles()
{
    return QStringLiteral(KX4_TRANSLATION_FILES).split(QLatin1Char(','), Qt::SkipEmptyParts);
}

} // namespace

void TestTranslations::everyTextTranslated_data()
{
    QTest::addColumn<QString>("tsFile");
    for (const QString &file : translationFiles())
        QTest::newRow(qPrintable(QFileInfo(file).completeBaseName())) << file;
}

void TestTranslations::everyTextTranslated()
{
    KX4_REQUIRE_CHILD_PROCESSES(); // lupdate and lrelease run as children
    // What the sources hold now, found the way the refresh target finds it.
    QFETCH(QString, tsFile);
    QTemporaryDir temp;
    const QString fresh = temp.filePath(QFileInfo(tsFile).fileName());
    const QStringList args = QStringLiteral(KX4_LUPDATE_OPTIONS).split(QLatin1Char('|'))
                             + QStringLiteral(KX4_TRANSLATION_SOURCES).split(QLatin1Char(','))
                             + QStringList{"-ts", fresh};
    const Output lupdate = run(QStringLiteral(KX4_LUPDATE), args);
    QVERIFY2(lupdate.ok, qPrintable(lupdate.out + lupdate.err));
    QString error;
    const QList<Message> inSources = readTs(fresh, &error);
    QVERIFY2(error.isEmpty(), qPrintable(error));
    QVERIFY2(!inSources.isEmpty(), "lupdate found no text in the sources");
    const QList<Message> kept = readTs(tsFile, &error);
    QVERIFY2(error.isEmpty(), qPrintable(error));

    QStringList problems;
    // A tr() lupdate cannot place (a class without Q_OBJECT, say) is looked up
    // under another context at run time and never translated.
    for (const QString &line : lupdate.err.split(QLatin1Char('\n'), Qt::SkipEmptyParts))
        problems << QStringLiteral("lupdate: %1").arg(line);

    QHash<QString, Message> byKey;
    for (const Message &m : kept)
        if (m.type != QLatin1String("vanished") && m.type != QLatin1String("obsolete"))
            byKey.insert(key(m), m);
    for (const Message &s : inSources) {
        const auto it = byKey.constFind(key(s));
        if (it == byKey.constEnd()) {
            problems << QStringLiteral("no translation: %1").arg(show(s));
            continue;
        }
        // A copy: the entry is removed from the hash right away.
        const Message m = *it;
        byKey.remove(key(s));
        if (m.type == QLatin1String("unfinished") || m.translations.isEmpty() || m.translations.contains(QString())) {
            problems << QStringLiteral("unfinished: %1").arg(show(m));
            continue;
        }
        for (const QString &t : m.translations) {
            if (placeholders(t) != placeholders(m.source))
                problems << QStringLiteral("placeholders %1 instead of %2: %3")
                                .arg(placeholders(t).join(QLatin1Char(' ')),
                                     placeholders(m.source).join(QLatin1Char(' ')), show(m));
            if (!t.startsWith(prefix(m.source)))
                problems << QStringLiteral("prefix \"%1\" lost: %2").arg(prefix(m.source), show(m));
        }
    }
    for (const Message &m : qAsConst(byKey))
        problems << QStringLiteral("no longer in the sources: %1").arg(show(m));

    for (const QString &p : qAsConst(problems))
        qWarning().noquote() << p;
    QVERIFY2(problems.isEmpty(),
             qPrintable(QStringLiteral("%1 problem(s) in %2 (listed above). Refresh it with "
                                       "`cmake --build build --target kx4_lupdate`, then translate what it lists.")
                            .arg(problems.size())
                            .arg(QDir(sourceDir).relativeFilePath(tsFile))));
}

void TestTranslations::programSpeaksTheLocale_data()
{
    QTest::addColumn<QString>("lang");
    QTest::addColumn<QStringList>("header");
    const QStringList english{"Time run:           ", "Events:"};
    QTest::newRow("Russian") << "ru_RU.UTF-8" << QStringList{"Время запуска:      ", "События:"};
    QTest::newRow("C") << "C.UTF-8" << english;
    // No translation for this one: the English texts stay.
    QTest::newRow("German") << "de_DE.UTF-8" << english;
}

void TestTranslations::programSpeaksTheLocale()
{
    // The translator is in place before the log file is opened, so the
    // header of the log is already in the operator's language.
    QFETCH(QString, lang);
    QFETCH(QStringList, header);
    QString why;
    if (!ProgramRun::startable(QStringLiteral(KX4_PROGRAM), why))
        QSKIP(qPrintable(why));
    QTemporaryDir folder, root;
    const QString program = folder.filePath(QStringLiteral("kx4test"));
    QVERIFY(QFile::copy(QStringLiteral(KX4_PROGRAM), program));
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    env.insert(QStringLiteral("KX4_ROOT"), root.path());
    for (const char *name : {"LC_ALL", "LC_NUMERIC", "LC_MESSAGES"})
        env.remove(QString::fromLatin1(name));
    env.insert(QStringLiteral("LANG"), lang);
    // Nobody answers the run-mode question: a short countdown picks the
    // automatic test, and the test ends the run once its window is up.
    env.insert(QStringLiteral("KX4_TEST_COUNTDOWN_MS"), QStringLiteral("50"));
    env.insert(QStringLiteral("PATH"), QStringLiteral(KX4_STANDIN_DIR ":") + env.value(QStringLiteral("PATH")));
    QProcess p;
    p.setProcessEnvironment(env);
    p.start(program, QStringList());
    QString debug;
    QVERIFY(ProgramRun::terminateOnceStarted(p, debug));
    QCOMPARE(p.exitCode(), 0);
    const QStringList log = ProgramRun::readLines(folder.filePath(QStringLiteral("Log/kx4test.log")));
    for (const QString &text : header)
        QVERIFY2(log.indexOf(QRegularExpression(QRegularExpression::escape(text) + QStringLiteral(".*"))) > 0,
                 qPrintable(log.mid(0, 12).join(QLatin1Char('\n'))));
}

QTEST_GUILESS_MAIN(TestTranslations)
#include "tst_translations.moc"
