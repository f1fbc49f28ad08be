// A system root of the test's own, for tests of core/: they may not use the
// simulated terminal (it belongs to a layer above), yet must keep their hands
// off the machine's /proc, /dev and /opt. While the object lives, KX4_ROOT
// names a fresh temporary folder; the previous value comes back afterwards.
//
//     TestRoot root;
//     QVERIFY(root.writeFile("/proc/uptime", "12.34 5.67\n"));
#pragma once

#include <QByteArray>
#include <QString>
#include <QTemporaryDir>

class TestRoot
{
public:
    TestRoot();
    ~TestRoot();
    TestRoot(const TestRoot &) = delete;
    TestRoot &operator=(const TestRoot &) = delete;

    QString root() const { return m_root; }
    // `logicalPath` ("/proc/stat") as a path on this machine.
    QString hostPath(const QString &logicalPath) const { return m_root + logicalPath; }
    // Folders are made on demand.
    bool writeFile(const QString &logicalPath, const QByteArray &content);
    bool removeFile(const QString &logicalPath);
    bool makeDir(const QString &logicalPath);

private:
    QTemporaryDir m_dir;
    QString m_root;
    QByteArray m_previous;
    bool m_hadPrevious = false;
};
