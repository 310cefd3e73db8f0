#pragma once

#include <QString>

// Whether Vantry starts when the user logs in, kept as an XDG autostart entry: a desktop file named
// "vantry.desktop" in $XDG_CONFIG_HOME/autostart. An entry of the same name in the system's autostart folders
// ($XDG_CONFIG_DIRS) counts too, unless the user's own file overrides it.
namespace DPOpenAtLogin {

// The user's entry, whether or not it exists.
QString entryPath();

// True when the first entry found, the user's before the system's, is present and not switched off
// ("Hidden=true" or "X-GNOME-Autostart-enabled=false").
bool openAtLoginEnabled();

// Writes or removes the user's entry; the entry starts the running program. False, with a log line, when the
// autostart folder cannot be changed; the previous state stays.
bool setOpenAtLoginEnabled(bool enabled);

// Flips openAtLoginEnabled(). False when that failed.
bool toggleLoginItem();

// The Exec value of an entry that starts `program` with no arguments: quoted and escaped as desktop entries
// require when the path holds a space or another reserved character.
QString execValue(const QString &program);

} // namespace DPOpenAtLogin
