// Removable storage of the simulated terminal: the media behind the SD slots
// and USB sticks, and mount()/umount() as the kernel boundary hands them in.
//
// A medium is made when it is inserted (SimHotplug::insertCard(),
// plugUsb(..., Storage)) and holds the files of its `image` folder. How it is
// mounted depends on the machine:
//  - Real: running as root with /dev/loop-control, mke2fs and an ext file
//    system in the kernel (tried once per process with a trial mount), the
//    medium is an image file with a real ext3 file system on a loop device,
//    and its partition node in the root is a link to that loop device. A
//    mount the program asks for is a real mount of the loop device on the
//    mount point, which must lie inside the system root; the terminal always
//    unmounts and detaches what is left when it goes. The file system is
//    ext3 whatever format the medium shows the program (vfat on the board's
//    kernel), so statfs() and QStorageInfo report ext3.
//  - Served: otherwise (or after setBacking(Served)), the medium is a folder
//    and the partition node an empty file. Mounting puts a symbolic link to
//    the folder where the mount point's directory was (an empty directory is
//    removed and made again on unmount, a non-empty one waits aside), so the
//    program's file calls on the mount point reach the medium's files.
//    statfs() on it reports the machine's file system.
// Either way the terminal decides what a mount gives, as the board's kernel
// would: the types it knows are vfat (msdos), ext2, ext3, ext4 and ntfs (any
// other fails with ENODEV); a type other than the medium's format, the whole
// disk, or a medium without a file system fails with EINVAL; a medium or
// mount point already mounted with EBUSY; a node that is no medium with
// ENOTBLK (ENOENT when missing). Mounts outside the system root and the
// flags that bind, move or remount are refused (EPERM, EINVAL): nothing of
// the machine is ever mounted. umount() of anything but a mount made here
// fails with EINVAL (ENOENT when missing). The file-system data handed to
// mount() is not used. Each mount shows as a line of the root's
// /proc/mounts in the kernel's format ("/dev/mmcblk0p1 /sdcard vfat
// rw,relatime 0 0"); lines the file held before are kept.
//
// Faults of a medium:
//  - ReadOnly (a card with its write-protect switch on): the mount succeeds
//    read-only. Real: the loop device is read-only and the mount gets
//    MS_RDONLY, so writes fail with EROFS. Served: the folder and its files
//    lose their write permission; a process that bypasses permissions (root)
//    gets the immutable attribute on them as well, so writes fail with EACCES
//    or EPERM instead of EROFS; where neither works the mount fails with
//    EACCES and a warning, never silently writable. A program's own MS_RDONLY
//    is served the same way.
//  - Full: every block is in use (a filler file takes the free room at each
//    mount): new files can be made, their data cannot be written (ENOSPC).
//    Needs the real backing: a folder cannot run out of room, so a full
//    medium cannot be inserted in the served mode (the insertion fails and
//    says so).
//  - NoFileSystem: every mount type fails with EINVAL.
#pragma once

#include "simguarded.h"

#include <QList>
#include <QMap>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <memory>
#include <sys/types.h>

class SimTerminal;

struct SimMedium
{
    enum Fault { NoFault, ReadOnly, Full, NoFileSystem };
    enum Format { Vfat, Ext3, Ntfs };

    QString image; // a folder whose files the medium holds; empty: a blank medium
    Fault fault = NoFault;
    // Names whose data the medium never keeps (worn cells): a file written
    // under one reads back empty. Each is a null device node on the medium,
    // so making the medium needs root.
    QStringList lostFiles;
    // Names whose data the medium garbles: a file written under one reads
    // back as long as it was written, with the lowest bit of every byte
    // flipped. Served media only (the medium is never loop-mounted then).
    QStringList garbledFiles;
    Format format = Vfat;
    int sizeKiB = 8192;
};

class SimStorage : private SimGuarded
{
public:
    enum Backing { Automatic, Served };

    // One mount() the program made, with its logical paths and the errno it got.
    struct MountCall
    {
        QString source;
        QString target;
        QString type;
        unsigned long flags = 0;
        int error = 0;
    };
    struct Mount
    {
        QString device; // logical node, /dev/mmcblk0p1
        QString mountPoint; // logical, /sdcard
        QString type; // as the program asked for it
        bool readOnly = false;
        bool real = false;
    };

    explicit SimStorage(SimTerminal *terminal);
    ~SimStorage();

    // Automatic uses real loop mounts where the machine allows them. Applies
    // to media inserted from now on.
    void setBacking(Backing backing) { setLocked(m_backing, backing); }
    Backing backing() const { return locked(m_backing); }
    // Whether real loop mounts work on this machine; *reason says why not.
    bool realMountsPossible(QString *reason = nullptr);

    // Makes the medium for a partition node (the whole disk is `diskNode`).
    // Returns the path the partition node must lead to (the loop device), an
    // empty string for an empty placeholder node, or a null string with
    // *error on failure. The nodes themselves are the caller's.
    QString insert(const QString &diskNode, const QString &partitionNode, const SimMedium &medium, QString *error);
    // The medium is pulled out; a mount of it stays until the program unmounts.
    void remove(const QString &partitionNode);
    bool isReal(const QString &partitionNode) const;

    QList<Mount> mounts() const;
    QList<MountCall> mountCalls() const { return locked(m_calls); }
    // The files of the medium in `partitionNode` and their contents, by path
    // from its root, as the card holds them now: through the program's mount
    // when there is one, else (real media) through a private read-only mount.
    QMap<QString, QByteArray> contents(const QString &partitionNode);
    // The next umount() of a medium fails with `err` (EBUSY: a file still
    // open on it); the medium stays mounted.
    void failUnmount(int err = EBUSY) { setLocked(m_unmountError, err); }

    bool serveMount(const char *source, const char *target, const char *fsType, unsigned long flags, const void *data,
                    int *result);
    bool serveUmount(const char *target, int *result);

private:
    struct Medium
    {
        int id = 0;
        QString disk, partition; // logical nodes
        SimMedium what;
        bool real = false;
        bool inserted = true;
        bool mounted = false;
        QString folder; // served: the medium's files
        QString imageFile; // real: the disk image
        QString loopDevice;
        int loopFd = -1;
        std::shared_ptr<void> garblers; // serve the garbled names while the medium is in
    };
    struct Active
    {
        int medium = 0; // its id
        QString target; // host path
        QString logicalTarget;
        QString type;
        unsigned long flags = 0;
        bool readOnly = false;
        bool real = false;
        QString stash; // served: where a non-empty mount point waits
        mode_t mode = 0755;
    };

    int decideMount(const QString &source, const QString &target, const QString &type, unsigned long flags);
    int mountReal(const Medium &medium, const Active &active);
    int mountServed(const Medium &medium, Active &active);
    int unmount(const Active &active, bool leaving);
    void release(Medium &medium);
    bool makeReal(Medium &medium, QString *error);
    Medium *mediumById(int id);
    Medium *mediumAt(const QString &node, bool *whole);
    void writeMountTable();
    QString logical(const QString &hostPath) const;

    SimTerminal *m_terminal;
    QTemporaryDir m_private; // images and served folders, outside the root
    Backing m_backing = Automatic;
    QList<Medium> m_media; // pulled ones stay while mounted
    QList<Active> m_active;
    QList<MountCall> m_calls;
    QStringList m_tableLines; // the /proc/mounts lines written last
    int m_nextId = 1;
    int m_unmountError = 0;
};
