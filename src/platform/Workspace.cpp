#include "Workspace.h"

#include "Log.h"
#include "TildePaths.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <gio/gio.h>

#include <cerrno>
#include <functional>
#include <sys/stat.h>

namespace {

QString fileUri(const QString &path)
{
    g_autofree gchar *uri = g_filename_to_uri(
        QFile::encodeName(QFileInfo(path).absoluteFilePath()).constData(), nullptr, nullptr);
    return QString::fromUtf8(uri);
}

// A failed look that cannot rule out a file (no permission to search a folder, say) counts as something.
bool nothingAt(const QString &path)
{
    struct stat status;
    return ::lstat(QFile::encodeName(path).constData(), &status) != 0 &&
           (errno == ENOENT || errno == ENOTDIR);
}

// A trailing "/" would make the system look through a symbolic link to a folder.
QString withoutTrailingSlashes(QString path)
{
    while (path.size() > 1 && path.endsWith(u'/'))
        path.chop(1);
    return path;
}

bool removeWithoutFollowingLinks(const QString &path)
{
    const QFileInfo info(path);
    if (info.isDir() && !info.isSymLink())
        return QDir(path).removeRecursively();
    return QFile::remove(path);
}

void askFileManager(const QString &method, const QString &path, std::function<void()> otherwise)
{
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("/org/freedesktop/FileManager1"),
        QStringLiteral("org.freedesktop.FileManager1"), method);
    call << QStringList{fileUri(path)} << QString();
    auto *watcher = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(call));
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished,
                     [otherwise = std::move(otherwise)](QDBusPendingCallWatcher *finished) {
                         finished->deleteLater();
                         if (finished->isError())
                             otherwise();
                     });
}

} // namespace

bool Workspace::openFile(const QString &path, QString *errorText)
{
    g_autoptr(GError) error = nullptr;
    if (g_app_info_launch_default_for_uri(fileUri(path).toUtf8().constData(), nullptr, &error))
        return true;
    if (errorText)
        *errorText = QStringLiteral("Cannot open “%1”: %2").arg(path, QString::fromUtf8(error->message));
    return false;
}

void Workspace::revealFile(const QString &path)
{
    askFileManager(QStringLiteral("ShowItems"), path, [path] {
        QString error;
        if (!openFile(QFileInfo(path).absolutePath(), &error))
            Log::line(error);
    });
}

void Workspace::showFileInfo(const QString &path)
{
    askFileManager(QStringLiteral("ShowItemProperties"), path, [path] { revealFile(path); });
}

bool Workspace::moveFileToTrash(const QString &givenPath, bool useDeleteOnFail, QString *errorText)
{
    const QString path = withoutTrailingSlashes(TildePaths::expandedTilde(givenPath));
    if (nothingAt(path))
        return true;

    g_autoptr(GFile) file = g_file_new_for_path(QFile::encodeName(path).constData());
    g_autoptr(GError) error = nullptr;
    if (g_file_trash(file, nullptr, &error) && nothingAt(path))
        return true;

    const QString reason = error ? QString::fromUtf8(error->message) : QStringLiteral("it is still there");
    QString failure = QStringLiteral("Cannot move “%1” to the trash: %2").arg(path, reason);
    if (useDeleteOnFail) {
        if (removeWithoutFollowingLinks(path) && nothingAt(path))
            return true;
        failure = QStringLiteral("Cannot move “%1” to the trash (%2) nor delete it").arg(path, reason);
    }
    if (errorText)
        *errorText = failure;
    return false;
}
