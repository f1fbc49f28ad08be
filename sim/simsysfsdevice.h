// A device made of sysfs attributes: a folder of small text files in the
// system root that the program reads and writes with plain file calls, as it
// does on the terminal (backlights, the touch click, the power supplies).
//
// Attributes are named relative to the model's folder and may lie in a
// subfolder of it ("marvo-backlight.0/brightness"), so one model can hold a
// class of devices. layOut() writes the model's files each time it is made
// present, as a driver's files appear when it registers; setPresent(false)
// takes away every attribute of the model and the subfolders that leaves
// empty, and nothing else.
//
// The model sees what the program writes: the terminal's service loop watches
// the folders (inotify) and calls attributeWritten() with the new content as
// soon as the program has written it, so a model reacts the way a driver's
// store handler would without a test asking (the backlight's
// actual_brightness follows brightness). The reaction comes from the loop's
// thread a moment after the write, not inside it: a test waits for it
// (QTRY_COMPARE). Writes the model makes itself, empty files (a truncation on
// the way to the new content) and a write that leaves the content as it was
// are not reported, and writes to one attribute in quick succession may be
// reported as one, the last (what the attribute holds in the end).
//
//     auto *click = sim.add<SimTouchSound>(SimTouchSound::TouchQuiet);
//     MarvoFunction::touchBeepOff();
//     QTRY_COMPARE(click->writes().size(), 1);
#pragma once

#include "simdevice.h"

#include <QHash>
#include <QSet>
#include <QStringList>

class SimSysfsDevice : public SimDevice
{
public:
    struct Write
    {
        QString attribute;
        QByteArray content;
    };

    // `folder`: the logical folder, ending in a slash ("/sys/class/backlight/").
    explicit SimSysfsDevice(const QString &folder);
    ~SimSysfsDevice() override;

    QString folder() const { return m_folder; }
    // The logical path of one attribute.
    QString attributePath(const QString &attribute) const;

    // Writes an attribute as the driver would (no newline is added); it
    // becomes one of the model's attributes and is not seen as a program write.
    void setAttribute(const QString &attribute, const QByteArray &content);
    // What the attribute holds now (empty when it is missing).
    QByteArray attribute(const QString &attribute) const;
    bool hasAttribute(const QString &attribute) const;
    void removeAttribute(const QString &attribute);

    // Every program write seen so far, oldest first.
    QList<Write> writes() const { return locked(m_writes); }

    // Present: the model's attributes are laid out afresh (any left from
    // before go first); absent: they are all gone.
    void setPresent(bool present) override;
    bool isPresent() const override;

protected:
    // Writes the attributes of a freshly registered device with
    // writeAttribute(). Called with `mutex` held.
    virtual void layOut();
    // The program wrote `content` to `attribute`. Called on the service
    // loop's thread with `mutex` held.
    virtual void attributeWritten(const QString &attribute, const QByteArray &content);

    // The same as the public calls, for use with `mutex` held.
    void writeAttribute(const QString &attribute, const QByteArray &content);
    QByteArray readAttribute(const QString &attribute) const;
    void deleteAttribute(const QString &attribute);

private:
    // A change of one attribute in the order it happened: the program's
    // (with what the file held when the change was noticed) or the model's.
    struct Change
    {
        QString attribute;
        QByteArray content;
        bool own = false;
    };

    void watchFolderOf(const QString &attribute);
    void collectEvents();
    void handleChanges();
    void removeAllAttributes();

    QString m_folder;
    QSet<QString> m_attributes; // every attribute of the model
    // What each attribute held after the last change handled; a change to
    // other content is the program's write.
    QHash<QString, QByteArray> m_known;
    QList<Change> m_changes; // noticed, not handled yet
    bool m_handling = false;
    QList<Write> m_writes;
    int m_inotifyFd = -1;
    QHash<int, QString> m_watchedFolders; // inotify watch -> folder relative to m_folder
};
