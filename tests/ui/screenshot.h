// Saves a widget as it renders offscreen into the build folder
// (tests/screenshots/<name>.png beside the test programs), for a person to
// look at; returns the picture for the test to check.
#pragma once

#include <QCoreApplication>
#include <QDir>
#include <QImage>
#include <QWidget>

inline QImage saveScreenshot(QWidget *widget, const QString &name)
{
    const QString folder = QCoreApplication::applicationDirPath() + QStringLiteral("/screenshots");
    QDir().mkpath(folder);
    const QImage image = widget->grab().toImage();
    image.save(folder + QLatin1Char('/') + name + QStringLiteral(".png"));
    return image;
}
