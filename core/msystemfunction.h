// The C library's own message for an errno value.
#pragma once

#include <QObject>
#include <QString>

class MSystemFunction : public QObject
{
    Q_OBJECT
public:
    using QObject::QObject;

    // The text strerror_r() writes for `errnum`; safe from any thread.
    static QString SysErrorMessage(int errnum);
};
