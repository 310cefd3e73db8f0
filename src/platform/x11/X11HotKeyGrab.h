#pragma once

#include <QList>
#include <QObject>

#include <memory>

class XcbConnection;

// One key combination grabbed on the root window, so its presses reach us whichever window has the focus.
// Caps Lock and Num Lock do not get in the way: the combination is grabbed with each of them as well.
class X11HotKeyGrab : public QObject {
    Q_OBJECT

public:
    // X modifier mask bits (the core protocol's).
    enum Modifier : quint16 { Shift = 1 << 0, Lock = 1 << 1, Control = 1 << 2, Mod1 = 1 << 3, Mod4 = 1 << 6 };

    explicit X11HotKeyGrab(QObject *parent = nullptr);
    ~X11HotKeyGrab() override;

    // Whether an X server could be reached.
    bool isAvailable() const;

    // Replaces the grab by one of `keycode` with `modifiers`. False, holding nothing, when there is no X
    // server or another program holds the combination.
    bool grab(quint32 keycode, quint16 modifiers);
    void ungrab();

Q_SIGNALS:
    // Once per press; holding the key down does not repeat it.
    void pressed();

private:
    quint16 numLockMask() const;
    void keyEvent(bool press, quint32 keycode, quint32 time);

    std::unique_ptr<XcbConnection> m_connection;
    quint32 m_keycode = 0;
    QList<quint16> m_grabbedModifiers;
    bool m_down = false;
    quint32 m_releaseTime = 0;
};
