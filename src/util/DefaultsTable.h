#pragma once

#include <QVariantMap>

// The program's built-in user defaults, registered once at start-up by every front end (the desktop program
// and the command line alike), so that an unset key reads the same everywhere.
namespace DefaultsTable {

QVariantMap registrationDomain();
// The four colour defaults alone, to reset the colours.
QVariantMap colourDefaults();

} // namespace DefaultsTable
