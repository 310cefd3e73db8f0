#include "HiddenFiles.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace HiddenFiles {

namespace {
// Far above any real list; keeps a stray huge file from being read whole for every test.
constexpr qint64 maximumListSize = 1 << 20;
} // namespace

bool isListed(const QString &path)
{
    const QFileInfo file(path);
    if (file.fileName().isEmpty())
        return false;
    QFile list(file.dir().filePath(QStringLiteral(".hidden")));
    if (!list.open(QIODevice::ReadOnly))
        return false;
    const QByteArray name = QFile::encodeName(file.fileName());
    for (QByteArray line : list.read(maximumListSize).split('\n')) {
        if (line.endsWith('\r'))
            line.chop(1);
        if (line == name)
            return true;
    }
    return false;
}

} // namespace HiddenFiles
