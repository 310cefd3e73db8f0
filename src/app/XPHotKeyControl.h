#pragma once

#include <QLineEdit>
#include <QString>

#include <functional>

class QKeyEvent;

// The system-wide key combination that brings the application to the front or hides it. The class
// operations keep the combination in the user defaults, register it with the desktop and render it as
// text such as "⌘/"; an instance is the field that records a new combination when the user presses it.
//
// Key codes are virtual key codes (see VirtualKeyCodes.h); characters are what the key typed when it was
// recorded, with the function keys as the private-use codes 0xF700 (Up arrow) to 0xF747; modifier flags use
// the bits of GlobalShortcut::ModifierFlag.
class XPHotKeyControl : public QLineEdit {
    Q_OBJECT

public:
    explicit XPHotKeyControl(QWidget *parent = nullptr);
    ~XPHotKeyControl() override;

    static quint16 keyCode();
    static quint16 character();
    static quint64 modifierFlags();

    // Registers the stored combination, or removes it when "XPUseGlobalHotKey" is off. Does nothing when
    // the combination registered already reads the same; a refused registration is retried next time.
    static void installHotKey();
    static void unInstallHotKey();
    // Activates the application when it is not active, else hides it, through the toggle.
    static void globalHotKeyPressed();
    // What activating (true) and hiding (false) the application means; set by the application controller.
    static void setApplicationToggle(std::function<void(bool activate)> toggle);

    static QString hotKeyAsString();
    static QString stringForKeyCode(quint16 keyCode, quint16 character, quint64 modifierFlags);
    // The key alone.
    static QString stringForKeyCode(quint16 keyCode, quint16 character);
    static QString stringForModifiers(quint64 modifierFlags);
    // The key's text in the current layout with no modifiers, upper-cased; empty when it cannot be read.
    static QString translateKeyCode(quint16 keyCode);

Q_SIGNALS:
    // A new combination was recorded and stored.
    void recorded();

protected:
    bool event(QEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;

private:
    void showStoredCombination();
};
