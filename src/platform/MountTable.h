#pragma once

#include <QFile>
#include <QObject>
#include <QString>
#include <QStringList>

// The mounted file systems, as /proc/self/mountinfo lists them. The static queries always see the current
// table (kept parsed between changes); an instance reports mounts and unmounts as they happen.
class MountTable : public QObject {
    Q_OBJECT

public:
    static QStringList mountPoints();

    // The mount point holding `path`: the longest mount point that is `path` or one of its ancestors. Works
    // on the text alone, so `path` need not exist.
    static QString mountPointOf(const QString &path);
    static bool isMountPoint(const QString &path);

    // The folder in which the desktop mounts the removable volume that `path` lies on ("/media/USER/NAME" or
    // "/run/media/USER/NAME"), or an empty string for paths outside those places.
    static QString volumeFolderOf(const QString &path);
    // `path` lies in a removable volume's folder where no volume is mounted.
    static bool isOnMissingVolume(const QString &path);

    // Watches from the event loop of the calling thread.
    explicit MountTable(QObject *parent = nullptr);

Q_SIGNALS:
    // Something was mounted or unmounted. Several changes in a row may give one signal.
    void changed();

private:
    QFile m_mountInfo; // kept open: the kernel flags changes on the open file
};
