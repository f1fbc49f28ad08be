#include "simuevent.h"

QByteArray SimUevent::datagram(quint64 seqnum) const
{
    QByteArray out;
    auto part = [&out](const QByteArray &text) {
        out += text;
        out += '\0';
    };
    part(action + '@' + devpath);
    part("ACTION=" + action);
    part("DEVPATH=" + devpath);
    part("SUBSYSTEM=" + subsystem);
    for (const Field &f : fields)
        part(f.first + '=' + f.second);
    part("SEQNUM=" + QByteArray::number(seqnum));
    return out;
}

QByteArray SimUevent::name() const
{
    return devpath.mid(devpath.lastIndexOf('/') + 1);
}
