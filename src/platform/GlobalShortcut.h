#pragma once

#include <QObject>

#include <memory>

class GlobalShortcutsPortal;
class X11HotKeyGrab;

// A system-wide key combination, whichever way the desktop offers one: a key grab on an X server, or the
// global shortcuts portal in a Wayland session. Keys are virtual key codes (see VirtualKeyCodes.h) with
// modifier flags in the bits the stored preferences use.
class GlobalShortcut : public QObject {
    Q_OBJECT

public:
    enum ModifierFlag : quint64 {
        ShiftFlag = 1 << 17,
        ControlFlag = 1 << 18,
        OptionFlag = 1 << 19,
        CommandFlag = 1 << 20,
    };

    explicit GlobalShortcut(QObject *parent = nullptr);
    ~GlobalShortcut() override;

    // Replaces the registered combination. False, with nothing registered, when the key is unknown, the
    // combination is taken or the desktop offers no way. Command is the Super key and Option the Alt key.
    bool registerKey(quint16 virtualKeyCode, quint64 modifierFlags);
    void unregister();

Q_SIGNALS:
    void pressed();

private:
    bool grabOnX11(quint16 virtualKeyCode, quint64 modifierFlags);
    bool bindThroughPortal(quint16 virtualKeyCode, quint64 modifierFlags);

    std::unique_ptr<X11HotKeyGrab> m_grab;
    std::unique_ptr<GlobalShortcutsPortal> m_portal;
};
