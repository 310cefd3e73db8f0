#include "X11HotKeyGrab.h"

#include "XcbConnection.h"

#include <xcb/xcb_keysyms.h>

#include <cstdlib>

namespace {

constexpr xcb_keysym_t numLockKeysym = 0xff7f; // XK_Num_Lock

template <typename Reply> using ReplyPointer = std::unique_ptr<Reply, decltype(&std::free)>;

} // namespace

X11HotKeyGrab::X11HotKeyGrab(QObject *parent)
    : QObject(parent), m_connection(std::make_unique<XcbConnection>())
{
    connect(m_connection.get(), &XcbConnection::event, this, [this](xcb_generic_event_t *event) {
        const uint8_t type = event->response_type & ~0x80;
        if (type == XCB_KEY_PRESS || type == XCB_KEY_RELEASE) {
            const auto *key = reinterpret_cast<xcb_key_press_event_t *>(event);
            keyEvent(type == XCB_KEY_PRESS, key->detail, key->time);
        }
    });
}

X11HotKeyGrab::~X11HotKeyGrab()
{
    ungrab();
}

bool X11HotKeyGrab::isAvailable() const
{
    return m_connection->isValid();
}

bool X11HotKeyGrab::grab(quint32 keycode, quint16 modifiers)
{
    ungrab();
    if (!isAvailable() || keycode > 255)
        return false;
    xcb_connection_t *connection = m_connection->connection();
    const quint16 numLock = numLockMask();
    QList<quint16> variants{modifiers, quint16(modifiers | Lock)};
    if (numLock)
        variants << quint16(modifiers | numLock) << quint16(modifiers | numLock | Lock);

    QList<xcb_void_cookie_t> cookies;
    for (quint16 variant : variants) {
        cookies << xcb_grab_key_checked(connection, true, m_connection->rootWindow(), variant,
                                        xcb_keycode_t(keycode), XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC);
    }
    m_keycode = keycode;
    bool refused = false;
    for (qsizetype i = 0; i < cookies.size(); ++i) {
        if (xcb_generic_error_t *error = xcb_request_check(connection, cookies[i])) {
            refused = true;
            std::free(error);
        } else {
            m_grabbedModifiers << variants[i];
        }
    }
    if (refused) {
        // A combination only half ours would work or not depending on the lock keys.
        ungrab();
        return false;
    }
    m_connection->flush();
    return true;
}

void X11HotKeyGrab::ungrab()
{
    if (!m_grabbedModifiers.isEmpty()) {
        for (quint16 variant : std::as_const(m_grabbedModifiers))
            xcb_ungrab_key(m_connection->connection(), xcb_keycode_t(m_keycode), m_connection->rootWindow(),
                           variant);
        // A round trip: once this returns the key is free, also for another program grabbing it next.
        std::free(xcb_get_input_focus_reply(m_connection->connection(),
                                            xcb_get_input_focus(m_connection->connection()), nullptr));
        m_connection->flush();
    }
    m_grabbedModifiers.clear();
    m_keycode = 0;
    m_down = false;
}

quint16 X11HotKeyGrab::numLockMask() const
{
    xcb_connection_t *connection = m_connection->connection();
    xcb_key_symbols_t *symbols = xcb_key_symbols_alloc(connection);
    if (!symbols)
        return 0;
    std::unique_ptr<xcb_keycode_t, decltype(&std::free)> numLockKeys(
        xcb_key_symbols_get_keycode(symbols, numLockKeysym), &std::free);
    xcb_key_symbols_free(symbols);
    ReplyPointer<xcb_get_modifier_mapping_reply_t> mapping(
        xcb_get_modifier_mapping_reply(connection, xcb_get_modifier_mapping(connection), nullptr),
        &std::free);
    if (!numLockKeys || !mapping)
        return 0;
    const xcb_keycode_t *modifierKeys = xcb_get_modifier_mapping_keycodes(mapping.get());
    const int perModifier = mapping->keycodes_per_modifier;
    for (int modifier = 0; modifier < 8; ++modifier) {
        for (int i = 0; i < perModifier; ++i) {
            const xcb_keycode_t key = modifierKeys[modifier * perModifier + i];
            for (const xcb_keycode_t *numLock = numLockKeys.get(); key && *numLock; ++numLock) {
                if (*numLock == key)
                    return quint16(1 << modifier);
            }
        }
    }
    return 0;
}

void X11HotKeyGrab::keyEvent(bool press, quint32 keycode, quint32 time)
{
    if (m_grabbedModifiers.isEmpty() || keycode != m_keycode)
        return;
    if (!press) {
        m_down = false;
        m_releaseTime = time;
        return;
    }
    // The server repeats a held key as a release and a press with the same time stamp, or as presses alone
    // when the client asked for detectable auto-repeat.
    const bool repeat = m_down || time == m_releaseTime;
    m_down = true;
    if (!repeat)
        Q_EMIT pressed();
}
