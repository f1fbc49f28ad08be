#include "testroot.h"

#include "msystemroot.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

TestRoot::TestRoot()
    : m_root(QFileInfo(m_dir.path()).canonicalFilePath()), m_previous(qgetenv(MSystemRoot::EnvName)),
      m_hadPrevious(qEnvironmentVariableIsSet(MSystemRoot::EnvName))
{
    qputenv(MSystemRoot::EnvName, QFile::encodeName(m_root));
}

TestRoot::~TestRoot()
{
    if (m_hadPrevious)
        qputenv(MSystemRoot::EnvName, m_previous);
    else
        qunsetenv(MSystemRoot::EnvName);
}

bool TestRoot::writeFile(const QString &logicalPath, const QByteArray &content)
{
    const QString path = hostPath(logicalPath);
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile f(path);
    return f.open(QIODevice::WriteOnly | QIODevice::Truncate) && f.write(content) == content.size();
}

bool TestRoot::removeFile(const QString &logicalPath)
{
    return QFile::remove(hostPath(logicalPath));
}

bool TestRoot::makeDir(const QString &logicalPath)
{
    return QDir().mkpath(hostPath(logicalPath));
}
