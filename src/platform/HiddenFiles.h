#pragma once

#include <QString>

// The file managers' way of hiding names without renaming them: a ".hidden" file in a folder lists, one per
// line, names in that folder that are not shown.
namespace HiddenFiles {

// The last component of `path` is listed in the ".hidden" file of the folder holding it. A missing or
// unreadable ".hidden" file lists nothing.
bool isListed(const QString &path);

} // namespace HiddenFiles
