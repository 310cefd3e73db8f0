#pragma once

#include <QString>

// What the keys of the current keyboard layout type, by virtual key code (see VirtualKeyCodes.h).
namespace KeyboardLayout {

// The text the key types with no modifiers; empty when it types nothing or no layout can be read (a
// Wayland session keeps its layout from us).
QString keyText(quint16 virtualKeyCode);

// The XKB name of the keysym the key gives with no modifiers ("slash", "F5"), the form desktop shortcut
// settings use: from the X server's layout when there is one, else from the system's default XKB layout.
// Empty when the key is unknown.
QString keysymName(quint16 virtualKeyCode);

} // namespace KeyboardLayout
