#pragma once

#include <QString>

// The "~" form of paths in the user's home: shown to the user and accepted from them, never stored.
namespace TildePaths {

// "~" and "~/x" become the home folder and a path in it; other paths stay as they are.
QString expandedTilde(const QString &path);
// The home folder and paths in it written with "~".
QString abbreviatedTilde(const QString &path);

} // namespace TildePaths
