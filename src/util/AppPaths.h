#pragma once

#include <QString>

// Where Vantry keeps its files. Everything follows HOME and the XDG_* variables, so a temporary home is a
// complete sandbox.
namespace AppPaths {

QString dataFolder();       // $XDG_DATA_HOME/Vantry: state files
QString cacheFolder();      // $XDG_CACHE_HOME/Vantry
QString configFolder();     // $XDG_CONFIG_HOME/Vantry
QString userDefaultsFile(); // $XDG_CONFIG_HOME/Vantry/Vantry.plist

} // namespace AppPaths
