#include "queuedspy.h"

#include <QTest>

QueuedSpy::QueuedSpy(const QObject *sender, const QMetaMethod &signal)
{
    const QByteArray name = signal.methodSignature();
    for (int i = 0; i < signal.parameterCount(); ++i) {
        m_types << signal.parameterType(i);
        // A queued connection drops the call, with a warning only.
        if (m_types.last() == QMetaType::UnknownType)
            qFatal("QueuedSpy: %s has an argument type that cannot be queued", name.constData());
    }
    // The one method past QObject's own is the recorder (qt_metacall below).
    if (!sender || signal.methodType() != QMetaMethod::Signal
        || !QMetaObject::connect(sender, signal.methodIndex(), this, QObject::staticMetaObject.methodCount(),
                                 Qt::QueuedConnection))
        qFatal("QueuedSpy: cannot watch %s", name.constData());
}

bool QueuedSpy::wait(int timeoutMs)
{
    const int before = size();
    return QTest::qWaitFor([&] { return size() > before; }, timeoutMs);
}

int QueuedSpy::qt_metacall(QMetaObject::Call call, int id, void **args)
{
    id = QObject::qt_metacall(call, id, args);
    if (id < 0 || call != QMetaObject::InvokeMetaMethod)
        return id;
    if (id == 0) {
        QList<QVariant> values;
        for (int i = 0; i < m_types.size(); ++i) {
            if (m_types.at(i) == QMetaType::QVariant)
                values << *static_cast<const QVariant *>(args[i + 1]);
            else
                values << QVariant(m_types.at(i), args[i + 1]);
        }
        append(values);
    }
    return id - 1;
}
