#include "simbench.h"

#include "simterminal.h"

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSaveFile>

namespace {
const char *const BenchFolder = "/var/lib/kx4sim/bench/";

bool validAddress(const QString &address)
{
    static const QRegularExpression plain(QStringLiteral("^[A-Za-z0-9][A-Za-z0-9.-]*$"));
    return plain.match(address).hasMatch();
}
}

bool SimBench::setHost(SimTerminal &sim, const QString &address, Answer answer)
{
    if (!validAddress(address))
        return false;
    static const char *const words[] = {"reply\n", "silent\n", "unreachable\n"};
    // Replaced whole (a new file renamed over the old one): the ping
    // stand-in reads it every second and must never find it empty.
    const QString path = sim.hostPath(QString::fromLatin1(BenchFolder) + address);
    QDir().mkpath(QFileInfo(path).absolutePath());
    QSaveFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(words[answer]) > 0 && file.commit();
}

SimBench::Answer SimBench::answer(const SimTerminal &sim, const QString &address)
{
    if (!validAddress(address))
        return Unreachable;
    const QByteArray word = sim.readFile(QString::fromLatin1(BenchFolder) + address).trimmed();
    return word == "reply" ? Reply : word == "silent" ? Silent : Unreachable;
}
