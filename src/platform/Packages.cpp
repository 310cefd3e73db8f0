#include "Packages.h"

#include <QFile>
#include <QSet>

#include <sys/stat.h>

namespace Packages {

namespace {

bool hasPackageExtension(QStringView path)
{
    static const QSet<QString> extensions = {
        "app",           "bundle",     "framework", "plugin",      "kext",         "rtfd",
        "pages",         "numbers",    "key",       "keynote",     "sparsebundle", "sparseimage",
        "photoslibrary", "aplibrary",  "xcodeproj", "xcworkspace", "playground",   "lproj",
        "nib",           "xib",        "scriptd",   "band",        "logicx",       "fcpbundle",
        "imovielibrary", "theater",    "dtBase2",   "mpkg",        "pkg",          "wdgt",
        "qlgenerator",   "mdimporter", "prefPane",  "saver",       "component",
    };
    const qsizetype slash = path.lastIndexOf(u'/');
    const qsizetype dot = path.lastIndexOf(u'.');
    if (dot <= slash + 1 || dot + 1 >= path.size())
        return false;
    return extensions.contains(path.mid(dot + 1).toString().toLower()) ||
           extensions.contains(path.mid(dot + 1).toString());
}

bool isDirectory(const QString &path)
{
    struct stat status;
    return lstat(QFile::encodeName(path).constData(), &status) == 0 && S_ISDIR(status.st_mode);
}

} // namespace

bool isPackage(const QString &path)
{
    return hasPackageExtension(path) && isDirectory(path);
}

bool isInsidePackage(const QString &path)
{
    // Ancestors are folders whenever `path` exists, so the extension alone decides for them.
    for (qsizetype slash = path.lastIndexOf(u'/'); slash > 0; slash = path.lastIndexOf(u'/', slash - 1)) {
        if (hasPackageExtension(QStringView(path).left(slash)))
            return true;
    }
    return false;
}

} // namespace Packages
