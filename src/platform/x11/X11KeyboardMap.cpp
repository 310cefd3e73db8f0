#include "X11KeyboardMap.h"

#include "XcbConnection.h"

#include <xcb/xcb_keysyms.h>

namespace X11KeyboardMap {

quint32 unmodifiedKeysym(quint32 keycode)
{
    if (keycode > 255)
        return 0;
    XcbConnection connection;
    if (!connection.isValid())
        return 0;
    xcb_key_symbols_t *symbols = xcb_key_symbols_alloc(connection.connection());
    if (!symbols)
        return 0;
    const xcb_keysym_t keysym = xcb_key_symbols_get_keysym(symbols, xcb_keycode_t(keycode), 0);
    xcb_key_symbols_free(symbols);
    return keysym;
}

} // namespace X11KeyboardMap
