#include "GlobalShortcut.h"

#include "GlobalShortcutsPortal.h"
#include "KeyboardLayout.h"
#include "VirtualKeyCodes.h"
#include "X11HotKeyGrab.h"

#include <QStringList>

GlobalShortcut::GlobalShortcut(QObject *parent) : QObject(parent) {}

GlobalShortcut::~GlobalShortcut() = default;

bool GlobalShortcut::registerKey(quint16 virtualKeyCode, quint64 modifierFlags)
{
    unregister();
    // Xwayland grabs see only keys typed into X windows, so a Wayland session asks its portal first.
    if (qEnvironmentVariable("XDG_SESSION_TYPE") == QLatin1String("wayland"))
        return bindThroughPortal(virtualKeyCode, modifierFlags) || grabOnX11(virtualKeyCode, modifierFlags);
    return grabOnX11(virtualKeyCode, modifierFlags) || bindThroughPortal(virtualKeyCode, modifierFlags);
}

void GlobalShortcut::unregister()
{
    m_grab.reset();
    m_portal.reset();
}

bool GlobalShortcut::grabOnX11(quint16 virtualKeyCode, quint64 modifierFlags)
{
    const std::optional<quint32> keycode = VirtualKeyCodes::xkbKeycode(virtualKeyCode);
    auto grab = std::make_unique<X11HotKeyGrab>();
    if (!keycode || !grab->isAvailable())
        return false;
    quint16 modifiers = 0;
    if (modifierFlags & CommandFlag)
        modifiers |= X11HotKeyGrab::Mod4;
    if (modifierFlags & OptionFlag)
        modifiers |= X11HotKeyGrab::Mod1;
    if (modifierFlags & ControlFlag)
        modifiers |= X11HotKeyGrab::Control;
    if (modifierFlags & ShiftFlag)
        modifiers |= X11HotKeyGrab::Shift;
    if (!grab->grab(*keycode, modifiers))
        return false;
    connect(grab.get(), &X11HotKeyGrab::pressed, this, &GlobalShortcut::pressed);
    m_grab = std::move(grab);
    return true;
}

bool GlobalShortcut::bindThroughPortal(quint16 virtualKeyCode, quint64 modifierFlags)
{
    const QString key = KeyboardLayout::keysymName(virtualKeyCode);
    if (key.isEmpty())
        return false;
    QStringList trigger;
    if (modifierFlags & ControlFlag)
        trigger << QStringLiteral("CTRL");
    if (modifierFlags & OptionFlag)
        trigger << QStringLiteral("ALT");
    if (modifierFlags & ShiftFlag)
        trigger << QStringLiteral("SHIFT");
    if (modifierFlags & CommandFlag)
        trigger << QStringLiteral("LOGO");
    trigger << key;
    auto portal = std::make_unique<GlobalShortcutsPortal>();
    if (!portal->bind(trigger.join(QLatin1Char('+')), QStringLiteral("Show or hide Vantry")))
        return false;
    connect(portal.get(), &GlobalShortcutsPortal::pressed, this, &GlobalShortcut::pressed);
    m_portal = std::move(portal);
    return true;
}
