#pragma once

#include <QString>
#include <QVariantMap>

// One change notification of the event stream: which folder changed, under which event id, with which flags.
class FileSystemEvent {
public:
    // Flag bits, with the values the macOS event service gives them. Ordinary changes carry none.
    static constexpr quint32 MustScanSubDirs = 0x1; // changes were lost: rescan the whole tree below evPath
    static constexpr quint32 KernelDropped = 0x4;   // ... because the kernel's event queue overflowed
    static constexpr quint32 HistoryDone = 0x10;    // the replay of past changes has ended; evPath is empty
    static constexpr quint32 Mount = 0x40;          // a volume was mounted at evPath

    FileSystemEvent(quint64 evId, const QString &evPath, quint32 evFlag);
    // Reads the dictionary form; missing entries read as 0 and the empty path.
    static FileSystemEvent initWithDict(const QVariantMap &dict);

    quint64 evId() const { return m_id; }
    QString evPath() const { return m_path; }
    quint32 evFlag() const { return m_flag; }

    // "evFlag", "evId" and "evPath".
    QVariantMap asDict() const;
    QString description() const;

private:
    quint64 m_id;
    QString m_path;
    quint32 m_flag;
};
