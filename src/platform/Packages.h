#pragma once

#include <QString>

// Document bundles: folders that the user sees as one document, known by their extension.
namespace Packages {

// A folder whose extension is a known bundle extension (compared without regard to case).
bool isPackage(const QString &path);

// Some folder above `path` (not `path` itself) is a package.
bool isInsidePackage(const QString &path);

} // namespace Packages
