#pragma once

#include <QObject>

#include <xcb/xcb.h>

#include <memory>

class QSocketNotifier;

// A connection of our own to the X server, apart from the toolkit's, so that key grabs and root-window
// event selections only bring us the events we asked for. Events are read when they arrive, on the thread
// that made the connection, and handed out through event(). Only the X11 back ends include this header.
class XcbConnection : public QObject {
    Q_OBJECT

public:
    // Connects to $DISPLAY. isValid() tells whether that worked (no X server, or a Wayland session without
    // Xwayland, leaves it invalid).
    explicit XcbConnection(QObject *parent = nullptr);
    ~XcbConnection() override;

    bool isValid() const { return m_connection != nullptr; }
    xcb_connection_t *connection() const { return m_connection; }
    xcb_screen_t *screen() const { return m_screen; }
    xcb_window_t rootWindow() const;

    // Sends queued requests to the server.
    void flush();

Q_SIGNALS:
    // One event or error from the server (response type 0). Valid only during the call.
    void event(xcb_generic_event_t *event);

private:
    void readEvents();

    xcb_connection_t *m_connection = nullptr;
    xcb_screen_t *m_screen = nullptr;
    std::unique_ptr<QSocketNotifier> m_notifier;
};
