#pragma once

#include <QtGlobal>

// The keyboard mapping the X server holds now.
namespace X11KeyboardMap {

// The keysym `keycode` gives with no modifiers, asked for afresh so a layout switch shows at once; 0 when
// no X server can be reached or the key types nothing.
quint32 unmodifiedKeysym(quint32 keycode);

} // namespace X11KeyboardMap
