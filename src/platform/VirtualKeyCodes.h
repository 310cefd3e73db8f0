#pragma once

#include <QtGlobal>

#include <optional>

// The stored hot key names its key by the keyboard-position codes of the original system ("virtual key
// codes": 0 is the key left of S on a US layout, 44 the key that types "/", 65 to 92 the numeric keypad),
// so a stored preference means the same key on every machine. These translate them to and from the key
// codes of X and XKB, which are the Linux evdev codes plus 8 (and what QKeyEvent::nativeScanCode() gives
// under X11 and Wayland).
namespace VirtualKeyCodes {

std::optional<quint32> xkbKeycode(quint16 virtualKeyCode);
std::optional<quint16> virtualKeyCode(quint32 xkbKeycode);

} // namespace VirtualKeyCodes
