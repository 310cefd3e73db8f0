#pragma once

#include <QString>
#include <QStringList>

// The tags and star rating that the desktop's file managers and indexers (Dolphin, Baloo, Caja, FSearch) keep
// on a file: "user.xdg.tags", tag names joined by ",", and "user.baloo.rating", 0 to 10 (two per star).
// Failures come back as the errno value, 0 meaning success; an absent attribute is no failure.
namespace SystemTags {

// The file's tag names, spaces around each trimmed, empty names dropped.
QStringList names(const QString &path, int *error);

// Replaces the file's tag names; an empty list removes the attribute. A comma inside a name cannot be told
// from a separator by any reader, so it is written as it is and reads back as two names.
int setNames(const QString &path, const QStringList &names);

// Stores `stars` (0 to 5, fractions rounded to half stars); 0 removes the attribute.
int setRating(const QString &path, double stars);

} // namespace SystemTags
