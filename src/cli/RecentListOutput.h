#pragma once

#include "VNItem.h"

class VNRecentFiles;

#include <QList>
#include <QString>

// The recent list as `vantry recent` and `vantry watch` print it.
namespace RecentListOutput {

// The main list, or with a folder the folder view, from file facts read now: a command cannot wait for the
// items' background updates.
QList<VNItemRef> currentList(VNRecentFiles &recentFiles, const QString &folder = QString());

// One line per entry, newest first: the path, then a tab and "stack of N" for a stack.
QString text(const QList<VNItemRef> &items);
// One line: [{"path", "date" (ISO-8601), "stack", "count", "members" (stacks only)}...]
QString json(const QList<VNItemRef> &items);

} // namespace RecentListOutput
