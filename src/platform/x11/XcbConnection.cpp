#include "XcbConnection.h"

#include "Log.h"

#include <QSocketNotifier>

#include <cstdlib>

XcbConnection::XcbConnection(QObject *parent) : QObject(parent)
{
    if (qEnvironmentVariableIsEmpty("DISPLAY"))
        return;
    int screenNumber = 0;
    xcb_connection_t *connection = xcb_connect(nullptr, &screenNumber);
    if (xcb_connection_has_error(connection)) {
        Log::line(QStringLiteral("cannot connect to the X server %1").arg(qEnvironmentVariable("DISPLAY")));
        xcb_disconnect(connection);
        return;
    }
    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(connection));
    for (int i = 0; i < screenNumber && screens.rem; ++i)
        xcb_screen_next(&screens);
    m_connection = connection;
    m_screen = screens.data;
    m_notifier =
        std::make_unique<QSocketNotifier>(xcb_get_file_descriptor(connection), QSocketNotifier::Read);
    connect(m_notifier.get(), &QSocketNotifier::activated, this, &XcbConnection::readEvents);
}

XcbConnection::~XcbConnection()
{
    m_notifier.reset();
    if (m_connection)
        xcb_disconnect(m_connection);
}

xcb_window_t XcbConnection::rootWindow() const
{
    return m_screen ? m_screen->root : 0;
}

void XcbConnection::flush()
{
    if (!m_connection)
        return;
    xcb_flush(m_connection);
    // Waiting for a reply may have read events off the socket into xcb's queue, where the notifier never
    // sees them.
    QMetaObject::invokeMethod(this, &XcbConnection::readEvents, Qt::QueuedConnection);
}

void XcbConnection::readEvents()
{
    while (xcb_generic_event_t *next = xcb_poll_for_event(m_connection)) {
        Q_EMIT event(next);
        std::free(next);
    }
    if (xcb_connection_has_error(m_connection)) {
        Log::line(QStringLiteral("the connection to the X server was lost"));
        m_notifier->setEnabled(false);
    }
}
