#pragma once

#include <QFile>
#include <QString>

#include <sys/mount.h>

// A small tmpfs on an existing folder while the object lives. Mounting needs root: tests skip when
// isMounted() is false after construction.
class TemporaryMount {
public:
    explicit TemporaryMount(const QString &folder) : m_folder(QFile::encodeName(folder))
    {
        m_mounted = ::mount("vantry-test", m_folder.constData(), "tmpfs", 0, "size=1m") == 0;
    }
    ~TemporaryMount() { unmount(); }
    TemporaryMount(const TemporaryMount &) = delete;
    TemporaryMount &operator=(const TemporaryMount &) = delete;

    bool isMounted() const { return m_mounted; }
    void unmount()
    {
        if (m_mounted && ::umount2(m_folder.constData(), MNT_DETACH) == 0)
            m_mounted = false;
    }

private:
    QByteArray m_folder;
    bool m_mounted = false;
};
