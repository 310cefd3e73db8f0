#include "XPHotKeyControl.h"

#include "GlobalShortcut.h"
#include "KeyboardLayout.h"
#include "UserDefaults.h"
#include "VirtualKeyCodes.h"

#include <QGuiApplication>
#include <QKeyEvent>
#include <QPointer>
#include <QTimer>

#include <array>
#include <chrono>
#include <optional>

namespace {

const QString useGlobalHotKeyKey = QStringLiteral("XPUseGlobalHotKey");
const QString keyCodeKey = QStringLiteral("XPHotKeyKeyCode");
const QString characterKey = QStringLiteral("XPHotKeyCharacter");
const QString modifierFlagsKey = QStringLiteral("XPModifierFlags");

constexpr quint64 modifierMask = GlobalShortcut::ShiftFlag | GlobalShortcut::ControlFlag |
                                 GlobalShortcut::OptionFlag | GlobalShortcut::CommandFlag;
// Keypad keys have virtual key codes from here on.
constexpr quint16 firstKeypadKeyCode = 61;

// Function keys as characters, in the standard private-use block.
enum : quint16 {
    upArrowKey = 0xF700,
    downArrowKey = 0xF701,
    leftArrowKey = 0xF702,
    rightArrowKey = 0xF703,
    f1Key = 0xF704,
    f35Key = 0xF726,
    insertKey = 0xF727,
    deleteKey = 0xF728,
    homeKey = 0xF729,
    endKey = 0xF72B,
    pageUpKey = 0xF72C,
    pageDownKey = 0xF72D,
    printScreenKey = 0xF72E,
    scrollLockKey = 0xF72F,
    pauseKey = 0xF730,
    sysReqKey = 0xF731,
    menuKey = 0xF735,
    clearLineKey = 0xF739,
    selectKey = 0xF741,
    executeKey = 0xF742,
    undoKey = 0xF743,
    redoKey = 0xF744,
    findKey = 0xF745,
    helpKey = 0xF746,
    modeSwitchKey = 0xF747,
};

// Names of the function keys from Insert (0xF727) to Mode Switch (0xF747).
constexpr std::array<const char *, 33> functionKeyNames{
    "Ins",        "Delete",     "↖",      "Begin",  "End",       "PgUp",         "PgDn",
    "Print",      "ScrollLock", "Pause",  "SysReq", "Break",     "Reset",        "Stop",
    "Menu",       "User",       "System", "Print",  "ClearLine", "ClearDisplay", "InsertLine",
    "DeleteLine", "InsertChar", "⌦",      "Prev",   "Next",      "Select",       "Exec",
    "Undo",       "Redo",       "Find",   "Help",   "ModeSwitch"};

struct Registration {
    QPointer<GlobalShortcut> shortcut;
    // The text of the combination registered now; none when nothing is, or the last attempt failed.
    std::optional<QString> registeredString;
    std::function<void(bool activate)> applicationToggle;
};

Registration &registration()
{
    static Registration state;
    return state;
}

// The character a key stands for when recorded, as the key types it without modifiers (Shift aside), with
// letters in lower case; 0 for keys that cannot be a hot key on their own, such as modifier keys.
quint16 characterForKey(int key)
{
    switch (key) {
    case Qt::Key_Enter:
        return 3;
    case Qt::Key_Tab:
    case Qt::Key_Backtab:
        return 9;
    case Qt::Key_Return:
        return 13;
    case Qt::Key_Escape:
        return 27;
    case Qt::Key_Backspace:
        return 127;
    case Qt::Key_Up:
        return upArrowKey;
    case Qt::Key_Down:
        return downArrowKey;
    case Qt::Key_Left:
        return leftArrowKey;
    case Qt::Key_Right:
        return rightArrowKey;
    case Qt::Key_Insert:
        return insertKey;
    case Qt::Key_Delete:
        return deleteKey;
    case Qt::Key_Home:
        return homeKey;
    case Qt::Key_End:
        return endKey;
    case Qt::Key_PageUp:
        return pageUpKey;
    case Qt::Key_PageDown:
        return pageDownKey;
    case Qt::Key_Print:
        return printScreenKey;
    case Qt::Key_ScrollLock:
        return scrollLockKey;
    case Qt::Key_Pause:
        return pauseKey;
    case Qt::Key_SysReq:
        return sysReqKey;
    case Qt::Key_Menu:
        return menuKey;
    case Qt::Key_Clear:
        return clearLineKey;
    case Qt::Key_Select:
        return selectKey;
    case Qt::Key_Execute:
        return executeKey;
    case Qt::Key_Undo:
        return undoKey;
    case Qt::Key_Redo:
        return redoKey;
    case Qt::Key_Find:
        return findKey;
    case Qt::Key_Help:
        return helpKey;
    case Qt::Key_Mode_switch:
        return modeSwitchKey;
    default:
        break;
    }
    if (key >= Qt::Key_F1 && key <= Qt::Key_F35)
        return quint16(f1Key + (key - Qt::Key_F1));
    // Qt names the other keys by the upper-case form of the character they type.
    if (key > 0 && key <= 0xFFFF)
        return QChar::toLower(char16_t(key));
    return 0;
}

quint64 modifierFlagsForEvent(const QKeyEvent *event)
{
    const Qt::KeyboardModifiers modifiers = event->modifiers();
    quint64 flags = 0;
    if (modifiers & Qt::MetaModifier)
        flags |= GlobalShortcut::CommandFlag;
    if (modifiers & Qt::ControlModifier)
        flags |= GlobalShortcut::ControlFlag;
    if (modifiers & Qt::AltModifier)
        flags |= GlobalShortcut::OptionFlag;
    if (modifiers & Qt::ShiftModifier)
        flags |= GlobalShortcut::ShiftFlag;
    return flags;
}

} // namespace

XPHotKeyControl::XPHotKeyControl(QWidget *parent) : QLineEdit(parent)
{
    setReadOnly(true);
    setFocusPolicy(Qt::StrongFocus);
    UserDefaults &defaults = UserDefaults::standard();
    defaults.observe(useGlobalHotKeyKey, this, &XPHotKeyControl::installHotKey);
    for (const QString &key : {keyCodeKey, characterKey, modifierFlagsKey})
        defaults.observe(key, this, [this] { showStoredCombination(); });
    showStoredCombination();
    installHotKey();
}

XPHotKeyControl::~XPHotKeyControl() = default;

quint16 XPHotKeyControl::keyCode()
{
    return quint16(UserDefaults::standard().unsignedValue(keyCodeKey));
}

quint16 XPHotKeyControl::character()
{
    return quint16(UserDefaults::standard().unsignedValue(characterKey));
}

quint64 XPHotKeyControl::modifierFlags()
{
    return UserDefaults::standard().unsignedValue(modifierFlagsKey);
}

void XPHotKeyControl::installHotKey()
{
    Registration &state = registration();
    if (!UserDefaults::standard().boolValue(useGlobalHotKeyKey)) {
        unInstallHotKey();
        return;
    }
    const QString combination = hotKeyAsString();
    if (state.registeredString == combination)
        return;
    unInstallHotKey();
    if (!state.shortcut) {
        state.shortcut = new GlobalShortcut(qApp);
        // Acting at once would fight the key grab that delivered the press for the keyboard focus.
        QObject::connect(state.shortcut, &GlobalShortcut::pressed, qApp, [] {
            QTimer::singleShot(std::chrono::milliseconds(50), qApp, &XPHotKeyControl::globalHotKeyPressed);
        });
    }
    if (state.shortcut->registerKey(keyCode(), modifierFlags()))
        state.registeredString = combination;
}

void XPHotKeyControl::unInstallHotKey()
{
    Registration &state = registration();
    if (state.shortcut)
        state.shortcut->unregister();
    state.registeredString.reset();
}

void XPHotKeyControl::globalHotKeyPressed()
{
    const auto &toggle = registration().applicationToggle;
    if (toggle)
        toggle(QGuiApplication::applicationState() != Qt::ApplicationActive);
}

void XPHotKeyControl::setApplicationToggle(std::function<void(bool activate)> toggle)
{
    registration().applicationToggle = std::move(toggle);
}

QString XPHotKeyControl::hotKeyAsString()
{
    return stringForKeyCode(keyCode(), character(), modifierFlags());
}

QString XPHotKeyControl::stringForKeyCode(quint16 keyCode, quint16 character, quint64 modifierFlags)
{
    return stringForModifiers(modifierFlags) + stringForKeyCode(keyCode, character);
}

QString XPHotKeyControl::stringForKeyCode(quint16 keyCode, quint16 character)
{
    switch (character) {
    case 3:
        return QStringLiteral("↵");
    case 9:
        return QStringLiteral("⇥");
    case 13:
        return QStringLiteral("↩");
    case 27:
        return QStringLiteral("Esc");
    case 32:
        return QStringLiteral("Space");
    case 127:
        return QStringLiteral("Del");
    case upArrowKey:
        return QStringLiteral("↑");
    case downArrowKey:
        return QStringLiteral("↓");
    case leftArrowKey:
        return QStringLiteral("←");
    case rightArrowKey:
        return QStringLiteral("→");
    default:
        break;
    }
    const QChar symbol(character);
    if (character && QStringLiteral("*+-./0123456789=").contains(symbol))
        return keyCode < firstKeypadKeyCode ? QString(symbol) : QStringLiteral("[%1]").arg(symbol);
    if (character >= f1Key && character <= f35Key)
        return QStringLiteral("F%1").arg(character - f1Key + 1);
    if (character >= insertKey && character <= modeSwitchKey)
        return QString::fromUtf8(functionKeyNames[character - insertKey]);
    const QString translated = translateKeyCode(keyCode);
    return translated.isEmpty() ? QString(symbol) : translated;
}

QString XPHotKeyControl::stringForModifiers(quint64 modifierFlags)
{
    QString text;
    if (modifierFlags & GlobalShortcut::ControlFlag)
        text += QStringLiteral("⌃");
    if (modifierFlags & GlobalShortcut::OptionFlag)
        text += QStringLiteral("⌥");
    if (modifierFlags & GlobalShortcut::ShiftFlag)
        text += QStringLiteral("⇧");
    if (modifierFlags & GlobalShortcut::CommandFlag)
        text += QStringLiteral("⌘");
    return text;
}

QString XPHotKeyControl::translateKeyCode(quint16 keyCode)
{
    return KeyboardLayout::keyText(keyCode).left(20).toUpper();
}

bool XPHotKeyControl::event(QEvent *event)
{
    // While the field has the focus, every combination is a candidate, including those of menus and
    // buttons; only a plain Tab still moves the focus on.
    if (event->type() == QEvent::ShortcutOverride && isEnabled()) {
        event->accept();
        return true;
    }
    if (event->type() == QEvent::KeyPress) {
        auto *key = static_cast<QKeyEvent *>(event);
        const bool tab = key->key() == Qt::Key_Tab || key->key() == Qt::Key_Backtab;
        if (tab && modifierFlagsForEvent(key)) {
            keyPressEvent(key);
            return true;
        }
    }
    return QLineEdit::event(event);
}

void XPHotKeyControl::keyPressEvent(QKeyEvent *event)
{
    const quint16 keyCharacter = characterForKey(event->key());
    const quint64 flags = modifierFlagsForEvent(event) & modifierMask;
    const std::optional<quint16> virtualKeyCode = VirtualKeyCodes::virtualKeyCode(event->nativeScanCode());
    // A plain letter must never become a global hot key; function keys may stand alone.
    if (!keyCharacter || (keyCharacter < 256 && !flags) || !virtualKeyCode) {
        event->ignore();
        return;
    }
    event->accept();
    setText(stringForKeyCode(*virtualKeyCode, keyCharacter, flags));
    UserDefaults &defaults = UserDefaults::standard();
    defaults.setValue(keyCodeKey, qint64(*virtualKeyCode));
    defaults.setValue(characterKey, qint64(keyCharacter));
    defaults.setValue(modifierFlagsKey, qint64(flags));
    installHotKey();
    Q_EMIT recorded();
}

void XPHotKeyControl::showStoredCombination()
{
    setText(hotKeyAsString());
}
