#pragma once

#include <QDateTime>
#include <QFileSystemWatcher>
#include <QHash>
#include <QObject>
#include <QStringList>
#include <QTimer>

// Documents the desktop's applications report as used, from the shared "recently-used.xbel" that GTK and KDE
// applications write. After start() it reports every document whose last use moves past the moment the feed
// started: new entries as added, known entries whose last use advanced as changed.
class RecentlyUsedFeed : public QObject {
    Q_OBJECT

public:
    // $XDG_DATA_HOME/recently-used.xbel
    static QString defaultFile();

    explicit RecentlyUsedFeed(const QString &xbelFile = defaultFile(), QObject *parent = nullptr);

    bool start();
    void stop();

    // Local paths of the file's entries with their last use, in the file's order. Entries that are not local
    // files are skipped. A missing or unreadable file has no entries.
    static QList<QPair<QString, QDateTime>> readEntries(const QString &xbelFile);

Q_SIGNALS:
    void documentsUsed(const QStringList &addedPaths, const QStringList &changedPaths);

private:
    void reread();
    void watchFile();

    QString m_file;
    QFileSystemWatcher m_watcher;
    QTimer m_settle; // writers replace the file in several steps; read once they are done
    QDateTime m_started;
    QHash<QString, QDateTime> m_lastUse;
};
