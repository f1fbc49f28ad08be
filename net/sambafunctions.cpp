#include "sambafunctions.h"

#include "mshell.h"
#include "msystemroot.h"
#include "mwait.h"

#include <QDebug>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QSettings>
#include <QStringList>

namespace {

const char *const SambaConfig = "/etc/samba/smb.conf";
const char *const SwitchFolder = "/etc/v3.conf/";
const char *const SwitchFile = "/etc/v3.conf/ensamba.conf";
const char *const HostnameFile = "/etc/hostname";
const char *const HostsFile = "/etc/hosts";

const int FindTimeoutMs = 30000;
const int PsTimeoutMs = 200;
const int MountTimeoutMs = 5000;

// Whether a line of a file or of a program's input can hold `value`.
bool fitsOneLine(const QString &value)
{
    for (const QChar c : value)
        if (c.unicode() < 0x20 || c.unicode() == 0x7f)
            return false;
    return true;
}

void refuse(const char *function, const char *what)
{
    qDebug().noquote() << QStringLiteral("SambaFunctions: %1: the %2 holds a line break or another control "
                                         "character; nothing changed.")
                              .arg(QLatin1String(function), QLatin1String(what));
}

// `value` as the replacement of a single-quoted sed expression, in `out`;
// false when no configuration line can hold it (a closing backslash would
// join the next line to it).
bool sedReplacement(const char *function, const QString &value, QString *out)
{
    if (!fitsOneLine(value)) {
        refuse(function, "value");
        return false;
    }
    if (value.endsWith(QLatin1Char('\\'))) {
        qDebug().noquote() << QStringLiteral("SambaFunctions: %1: the value ends with a backslash, which would "
                                             "join the next configuration line; nothing changed.")
                                  .arg(QLatin1String(function));
        return false;
    }
    out->clear();
    for (const QChar c : value) {
        if (c == QLatin1Char('\''))
            *out += QStringLiteral("'\\''");
        else if (c == QLatin1Char('\\') || c == QLatin1Char('/') || c == QLatin1Char('&'))
            *out += QLatin1Char('\\') + QString(c);
        else
            *out += c;
    }
    return true;
}

// `command` with %1 replaced by `value` and the system file it ends with
// taken inside the system root and quoted. Neither is scanned again, so
// neither can change the other.
QString fill(const QString &command, const QString &value, const char *file)
{
    const QString path = QLatin1String(file);
    Q_ASSERT(command.endsWith(path));
    QString head = command.left(command.size() - path.size());
    const int at = head.indexOf(QLatin1String("%1"));
    Q_ASSERT(at >= 0);
    head.replace(at, 2, value);
    return head + MShell::quote(MSystemRoot::path(path));
}

int run(const QString &command, const QString &shown = QString())
{
    qDebug().noquote() << QStringLiteral("SambaFunctions: run: %1").arg(shown.isNull() ? command : shown);
    return MShell::run(command);
}

// Runs a sed edit of a system file, or refuses the value.
int edit(const char *function, const QString &command, const QString &value, const char *file)
{
    QString replacement;
    if (!sedReplacement(function, value, &replacement))
        return SambaFunctions::RefusedStatus;
    return run(fill(command, replacement, file));
}

// Output of a program run without a shell; nothing when it did not finish
// in time (it is then stopped, not left behind).
QByteArray output(const QString &program, const QStringList &args, int timeoutMs)
{
    QProcess process;
    process.start(program, args);
    if (!MWait::finished(process, timeoutMs)) {
        process.kill();
        process.waitForFinished(1000);
        return QByteArray();
    }
    return process.readAllStandardOutput();
}

// Whether ps lists `text`. The daemons show as started, "nmbd -D"; what ps
// printed within the wait counts even when it has not ended by then. The
// wait is ps's own: it starts once the program runs.
bool psLists(const QString &text)
{
    QProcess ps;
    ps.start(QStringLiteral("ps"), QStringList());
    if (ps.waitForStarted())
        MWait::finished(ps, PsTimeoutMs);
    const bool listed = QString::fromLocal8Bit(ps.readAllStandardOutput()).contains(text);
    if (ps.state() != QProcess::NotRunning) {
        ps.kill();
        ps.waitForFinished(1000);
    }
    return listed;
}

// The password as the double-quoted argument of echo -e: the shell keeps
// $ ` " \ literal, echo gets \\ for a backslash, and a leading - reaches it
// as \0055, not as an option.
QString echoArgument(const QString &password)
{
    QString out;
    for (int i = 0; i < password.size(); ++i) {
        const QChar c = password.at(i);
        if (i == 0 && c == QLatin1Char('-'))
            out += QStringLiteral("\\\\0055");
        else if (c == QLatin1Char('\\'))
            out += QStringLiteral("\\\\\\\\");
        else if (c == QLatin1Char('$') || c == QLatin1Char('`') || c == QLatin1Char('"'))
            out += QLatin1Char('\\') + QString(c);
        else
            out += c;
    }
    return out;
}

} // namespace

int SambaFunctions::reloadParams()
{
    return run(QStringLiteral("kill -HUP `pidof smbd`"));
}

int SambaFunctions::setServerString(QString text)
{
    return edit("setServerString",
                QStringLiteral("sed -e 's/^server string.*/server string = %1/g' -i /etc/samba/smb.conf"), text,
                SambaConfig);
}

int SambaFunctions::setWorkgroup(QString name)
{
    return edit("setWorkgroup", QStringLiteral("sed -e 's/^workgroup.*/workgroup = %1/g' -i /etc/samba/smb.conf"), name,
                SambaConfig);
}

int SambaFunctions::smbMount()
{
    return 0;
}

bool SambaFunctions::sambaExists()
{
    const QString found = QString::fromLocal8Bit(output(QStringLiteral("find"),
                                                        {MSystemRoot::path(QStringLiteral("/usr")),
                                                         QStringLiteral("-name"), QStringLiteral("nmbd")},
                                                        FindTimeoutMs))
                              .trimmed();
    // Several hits make one path that does not exist.
    return !found.isEmpty() && QFile::exists(found);
}

bool SambaFunctions::nmbdRunning()
{
    return psLists(QStringLiteral("nmbd -D"));
}

bool SambaFunctions::smbdRunning()
{
    return psLists(QStringLiteral("smbd -D"));
}

int SambaFunctions::stopServices()
{
    int status = 0;
    if (nmbdRunning())
        status += run(QStringLiteral("kill -9 `pidof nmbd`"));
    if (smbdRunning())
        status += run(QStringLiteral("kill -9 `pidof smbd`"));
    return status;
}

int SambaFunctions::startServices()
{
    if (!nmbdRunning())
        QProcess::startDetached(QStringLiteral("nmbd"), {QStringLiteral("-D")});
    if (!smbdRunning())
        QProcess::startDetached(QStringLiteral("smbd"), {QStringLiteral("-D")});
    return 0;
}

int SambaFunctions::restartServices()
{
    const int stopped = stopServices();
    return stopped + startServices();
}

bool SambaFunctions::isEnabledSamba()
{
    QDir().mkpath(MSystemRoot::path(QLatin1String(SwitchFolder)));
    QFile file(MSystemRoot::path(QLatin1String(SwitchFile)));
    if (!file.exists() || !file.open(QIODevice::ReadOnly | QIODevice::Text))
        return false;
    const QString first = QString::fromLocal8Bit(file.readLine()).trimmed().simplified().toLower();
    return first == QLatin1String("enabled");
}

void SambaFunctions::setEnabledSamba(bool on)
{
    QDir().mkpath(MSystemRoot::path(QLatin1String(SwitchFolder)));
    QFile file(MSystemRoot::path(QLatin1String(SwitchFile)));
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return;
    file.write(on ? "ENABLED" : "DISABLED");
}

bool SambaFunctions::changeSambaPassword(QString user, QString password)
{
    if (!sambaExists() || !isEnabledSamba())
        return false;
    // A refused value is a failure, which is true here.
    if (!fitsOneLine(password)) {
        refuse("changeSambaPassword", "password");
        return true;
    }
    if (!fitsOneLine(user)) {
        refuse("changeSambaPassword", "user name");
        return true;
    }
    const QString command = QStringLiteral("(echo -e \"%1\"; echo -e \"%1\") | smbpasswd -L -s -U %2");
    const QString quotedUser = MShell::quote(user);
    return run(command.arg(echoArgument(password), quotedUser), command.arg(QStringLiteral("***"), quotedUser)) != 0;
}

int SambaFunctions::setNetbiosName(QString name)
{
    // Checked first: a name refused half-way would leave the files disagreeing.
    QString replacement;
    if (!sedReplacement("setNetbiosName", name, &replacement))
        return RefusedStatus;
    QFile hostname(MSystemRoot::path(QLatin1String(HostnameFile)));
    if (!hostname.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return 1;
    hostname.write(name.toLocal8Bit());
    hostname.close();
    if (run(fill(QStringLiteral("sed -e 's/^127.0.1.1.*/127.0.1.1 %1/g' -i /etc/hosts"), replacement, HostsFile)) != 0)
        return 1;
    return run(fill(QStringLiteral("sed -e 's/^netbios name.*/netbios name = %1/g' -i /etc/samba/smb.conf"),
                    replacement, SambaConfig));
}

QMap<int, MSambaMountItem> SambaFunctions::getSambaMountList()
{
    // One command line started as a process, without a shell: mount is
    // given the rest as its arguments.
    const QStringList words = QProcess::splitCommand(QStringLiteral("mount | grep 'type cifs'"));
    const QByteArray out = output(words.first(), words.mid(1), MountTimeoutMs);
    if (!out.isEmpty())
        qDebug().noquote() << QStringLiteral("getSambaMountList") << QString::fromLocal8Bit(out);
    return QMap<int, MSambaMountItem>();
}

QString SambaFunctions::getSambaParam(QString param, QString section)
{
    QSettings config(MSystemRoot::path(QLatin1String(SambaConfig)), QSettings::IniFormat);
    config.beginGroup(section);
    const QVariant value = config.value(param);
    // A value with commas reads as a list: give it back whole.
    if (value.userType() == QMetaType::QStringList)
        return value.toStringList().join(QStringLiteral(", "));
    return value.toString();
}
