#include "AtomicFile.h"

#include <QDir>
#include <QFileInfo>
#include <QSaveFile>

namespace AtomicFile {

bool write(const QString &path, const QByteArray &data, QString *error)
{
    auto fail = [&](const QString &reason) {
        if (error)
            *error = QStringLiteral("cannot write %1: %2").arg(path, reason);
        return false;
    };
    const QString folder = QFileInfo(path).absolutePath();
    if (!QDir().mkpath(folder))
        return fail(QStringLiteral("cannot create the folder %1").arg(folder));

    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return fail(file.errorString());
    if (file.write(data) != data.size()) {
        const QString reason = file.errorString();
        file.cancelWriting();
        return fail(reason);
    }
    if (!file.commit()) // flushes to disk before the rename
        return fail(file.errorString());
    return true;
}

} // namespace AtomicFile
