#pragma once

#include <QStringList>

// Where the user's files live: the home folder, and the volumes the desktop mounted for the user.
namespace UserVolumes {

// The home folder, then the existing folders /media/$USER/* and /run/media/$USER/*.
QStringList roots();

} // namespace UserVolumes
