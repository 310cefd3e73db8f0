#include "KeyboardLayout.h"

#include "VirtualKeyCodes.h"
#include "X11KeyboardMap.h"

#include <memory>
#include <xkbcommon/xkbcommon.h>

namespace {

xkb_keysym_t x11Keysym(quint16 virtualKeyCode)
{
    const std::optional<quint32> keycode = VirtualKeyCodes::xkbKeycode(virtualKeyCode);
    return keycode ? X11KeyboardMap::unmodifiedKeysym(*keycode) : XKB_KEY_NoSymbol;
}

xkb_keysym_t defaultLayoutKeysym(quint16 virtualKeyCode)
{
    const std::optional<quint32> keycode = VirtualKeyCodes::xkbKeycode(virtualKeyCode);
    std::unique_ptr<xkb_context, decltype(&xkb_context_unref)> context(xkb_context_new(XKB_CONTEXT_NO_FLAGS),
                                                                       &xkb_context_unref);
    if (!keycode || !context)
        return XKB_KEY_NoSymbol;
    std::unique_ptr<xkb_keymap, decltype(&xkb_keymap_unref)> keymap(
        xkb_keymap_new_from_names(context.get(), nullptr, XKB_KEYMAP_COMPILE_NO_FLAGS), &xkb_keymap_unref);
    const xkb_keysym_t *keysyms = nullptr;
    if (!keymap || xkb_keymap_key_get_syms_by_level(keymap.get(), *keycode, 0, 0, &keysyms) < 1)
        return XKB_KEY_NoSymbol;
    return keysyms[0];
}

} // namespace

namespace KeyboardLayout {

QString keyText(quint16 virtualKeyCode)
{
    const char32_t character = xkb_keysym_to_utf32(x11Keysym(virtualKeyCode));
    return character >= 0x20 && character != 0x7f ? QString::fromUcs4(&character, 1) : QString();
}

QString keysymName(quint16 virtualKeyCode)
{
    xkb_keysym_t keysym = x11Keysym(virtualKeyCode);
    if (keysym == XKB_KEY_NoSymbol)
        keysym = defaultLayoutKeysym(virtualKeyCode);
    char name[64];
    if (keysym == XKB_KEY_NoSymbol || xkb_keysym_get_name(keysym, name, sizeof name) <= 0)
        return {};
    return QString::fromLatin1(name);
}

} // namespace KeyboardLayout
