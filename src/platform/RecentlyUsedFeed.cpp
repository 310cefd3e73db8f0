#include "RecentlyUsedFeed.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>
#include <QUrl>
#include <QXmlStreamReader>

namespace {

constexpr int settleMilliseconds = 100;

QDateTime parseTime(QStringView text)
{
    QDateTime time = QDateTime::fromString(text.toString(), Qt::ISODateWithMs);
    return time.isValid() ? time.toUTC() : QDateTime();
}

QDateTime later(const QDateTime &a, const QDateTime &b)
{
    if (!a.isValid())
        return b;
    return b.isValid() && b > a ? b : a;
}

} // namespace

QString RecentlyUsedFeed::defaultFile()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) +
           QStringLiteral("/recently-used.xbel");
}

RecentlyUsedFeed::RecentlyUsedFeed(const QString &xbelFile, QObject *parent)
    : QObject(parent), m_file(xbelFile)
{
    m_settle.setSingleShot(true);
    m_settle.setInterval(settleMilliseconds);
    connect(&m_settle, &QTimer::timeout, this, &RecentlyUsedFeed::reread);
    // Writers replace the file by renaming a new one over it, so the folder is watched as well.
    connect(&m_watcher, &QFileSystemWatcher::fileChanged, &m_settle, qOverload<>(&QTimer::start));
    connect(&m_watcher, &QFileSystemWatcher::directoryChanged, &m_settle, qOverload<>(&QTimer::start));
}

bool RecentlyUsedFeed::start()
{
    m_started = QDateTime::currentDateTimeUtc();
    m_lastUse.clear();
    for (const auto &[path, lastUse] : readEntries(m_file))
        m_lastUse.insert(path, lastUse);
    // The folder may not exist yet on a new account; the first application to record a document makes it.
    const QString folder = QFileInfo(m_file).absolutePath();
    QDir().mkpath(folder);
    if (!m_watcher.directories().contains(folder) && !m_watcher.addPath(folder))
        return false;
    watchFile();
    return true;
}

void RecentlyUsedFeed::stop()
{
    m_settle.stop();
    if (!m_watcher.files().isEmpty())
        m_watcher.removePaths(m_watcher.files());
    if (!m_watcher.directories().isEmpty())
        m_watcher.removePaths(m_watcher.directories());
}

void RecentlyUsedFeed::watchFile()
{
    if (QFileInfo::exists(m_file) && !m_watcher.files().contains(m_file))
        m_watcher.addPath(m_file);
}

void RecentlyUsedFeed::reread()
{
    watchFile();
    QStringList added;
    QStringList changed;
    for (const auto &[path, lastUse] : readEntries(m_file)) {
        const auto known = m_lastUse.constFind(path);
        const bool isNew = known == m_lastUse.cend();
        if (!isNew && lastUse <= *known)
            continue;
        m_lastUse.insert(path, lastUse);
        if (lastUse <= m_started)
            continue;
        (isNew ? added : changed).append(path);
    }
    if (!added.isEmpty() || !changed.isEmpty())
        Q_EMIT documentsUsed(added, changed);
}

QList<QPair<QString, QDateTime>> RecentlyUsedFeed::readEntries(const QString &xbelFile)
{
    QList<QPair<QString, QDateTime>> entries;
    QFile file(xbelFile);
    if (!file.open(QIODevice::ReadOnly))
        return entries;

    QXmlStreamReader xml(&file);
    QString path;
    QDateTime lastUse;
    while (!xml.atEnd()) {
        const QXmlStreamReader::TokenType token = xml.readNext();
        if (token == QXmlStreamReader::StartElement) {
            const QXmlStreamAttributes attributes = xml.attributes();
            if (xml.name() == QLatin1String("bookmark")) {
                const QUrl url(attributes.value(QLatin1String("href")).toString());
                path = url.isLocalFile() ? url.toLocalFile() : QString();
                lastUse = later(parseTime(attributes.value(QLatin1String("modified"))),
                                parseTime(attributes.value(QLatin1String("visited"))));
            } else if (xml.name() == QLatin1String("application") && !path.isEmpty()) {
                // Newer writers give each application an ISO time, older ones a Unix timestamp.
                QDateTime used = parseTime(attributes.value(QLatin1String("modified")));
                if (!used.isValid() && attributes.hasAttribute(QLatin1String("timestamp")))
                    used = QDateTime::fromSecsSinceEpoch(
                        attributes.value(QLatin1String("timestamp")).toLongLong(), Qt::UTC);
                lastUse = later(lastUse, used);
            }
        } else if (token == QXmlStreamReader::EndElement && xml.name() == QLatin1String("bookmark")) {
            if (!path.isEmpty() && lastUse.isValid())
                entries.append({path, lastUse});
            path.clear();
        }
    }
    // A file cut short mid-write keeps the entries read so far; the next change brings the rest.
    return entries;
}
