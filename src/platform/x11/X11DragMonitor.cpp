#include "X11DragMonitor.h"

#include "Log.h"
#include "XcbConnection.h"

#include <QSysInfo>
#include <QUrl>

#include <xcb/xfixes.h>
#include <xcb/xinput.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <memory>
#include <utility>

namespace {

struct FreeDeleter {
    void operator()(void *pointer) const { std::free(pointer); }
};
template <typename T> using Reply = std::unique_ptr<T, FreeDeleter>;

// The XDND protocol asks sources to name the host in file URIs, so ours counts as local too.
QStringList localFilePaths(const QByteArray &uriList)
{
    const QString hostName = QSysInfo::machineHostName();
    QStringList paths;
    for (const QByteArray &line : uriList.split('\n')) {
        const QByteArray uri = line.trimmed();
        if (uri.isEmpty() || uri.startsWith('#'))
            continue;
        QUrl url = QUrl::fromEncoded(uri, QUrl::StrictMode);
        if (!url.isLocalFile())
            continue;
        if (!url.host().isEmpty()) {
            if (url.host() != QLatin1String("localhost") && url.host().compare(hostName, Qt::CaseInsensitive))
                continue;
            url.setHost(QString());
        }
        paths << url.toLocalFile();
    }
    return paths;
}

} // namespace

X11DragMonitor::X11DragMonitor(QObject *parent) : QObject(parent), m_connection(new XcbConnection(this))
{
    // A source that never answers leaves its drag without files; an answer after this is not taken.
    m_conversionTimeout.setSingleShot(true);
    m_conversionTimeout.setInterval(std::chrono::seconds(2));
    connect(&m_conversionTimeout, &QTimer::timeout, this,
            [] { Log::line(QStringLiteral("the drag source did not say which files it drags")); });
    if (!m_connection->isValid())
        return;
    m_available = selectEvents();
    if (!m_available)
        return;
    readButtonMapping();
    connect(m_connection, &XcbConnection::event, this, &X11DragMonitor::handleEvent);
    m_connection->flush();
}

X11DragMonitor::~X11DragMonitor() = default;

bool X11DragMonitor::selectEvents()
{
    xcb_connection_t *connection = m_connection->connection();
    const xcb_query_extension_reply_t *xfixes = xcb_get_extension_data(connection, &xcb_xfixes_id);
    const xcb_query_extension_reply_t *xinput = xcb_get_extension_data(connection, &xcb_input_id);
    if (!xfixes || !xfixes->present || !xinput || !xinput->present) {
        Log::line(
            QStringLiteral("the X server lacks XFixes or XInput; drags in other programs go unnoticed"));
        return false;
    }
    m_xfixesFirstEvent = xfixes->first_event;
    m_xinputOpcode = xinput->major_opcode;

    // Both extensions want the client's version before anything else; 2.1 brings raw events during grabs.
    const xcb_xfixes_query_version_cookie_t xfixesVersion =
        xcb_xfixes_query_version(connection, XCB_XFIXES_MAJOR_VERSION, XCB_XFIXES_MINOR_VERSION);
    const xcb_input_xi_query_version_cookie_t xinputVersion = xcb_input_xi_query_version(connection, 2, 2);
    const char *const names[] = {"XdndSelection", "text/uri-list", "INCR", "VANTRY_DRAGGED_FILES"};
    xcb_intern_atom_cookie_t atomCookies[std::size(names)];
    for (size_t i = 0; i < std::size(names); ++i)
        atomCookies[i] = xcb_intern_atom(connection, false, strlen(names[i]), names[i]);
    Reply<xcb_xfixes_query_version_reply_t>(
        xcb_xfixes_query_version_reply(connection, xfixesVersion, nullptr));
    const Reply<xcb_input_xi_query_version_reply_t> version(
        xcb_input_xi_query_version_reply(connection, xinputVersion, nullptr));
    xcb_atom_t atoms[std::size(names)] = {};
    for (size_t i = 0; i < std::size(names); ++i) {
        const Reply<xcb_intern_atom_reply_t> reply(
            xcb_intern_atom_reply(connection, atomCookies[i], nullptr));
        atoms[i] = reply ? reply->atom : XCB_NONE;
    }
    if (!version || version->major_version < 2) {
        Log::line(QStringLiteral("the X server lacks XInput 2; drags in other programs go unnoticed"));
        return false;
    }
    m_dragSelection = atoms[0];
    m_uriList = atoms[1];
    m_incr = atoms[2];
    m_property = atoms[3];

    // An unmapped window of our own to hear about the selection and to receive the file lists on.
    m_window = xcb_generate_id(connection);
    xcb_create_window(connection, XCB_COPY_FROM_PARENT, m_window, m_connection->rootWindow(), -1, -1, 1, 1, 0,
                      XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, 0, nullptr);
    const xcb_void_cookie_t ownerSelection = xcb_xfixes_select_selection_input_checked(
        connection, m_window, m_dragSelection, XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER);
    struct {
        xcb_input_event_mask_t head;
        quint32 bits;
    } mask = {{XCB_INPUT_DEVICE_ALL_MASTER, 1},
              XCB_INPUT_XI_EVENT_MASK_RAW_MOTION | XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_PRESS |
                  XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_RELEASE};
    const xcb_void_cookie_t pointerSelection =
        xcb_input_xi_select_events_checked(connection, m_connection->rootWindow(), 1, &mask.head);
    // Checking also makes sure the server has both selections in place before the constructor returns.
    const Reply<xcb_generic_error_t> ownerError(xcb_request_check(connection, ownerSelection));
    const Reply<xcb_generic_error_t> pointerError(xcb_request_check(connection, pointerSelection));
    if (ownerError || pointerError) {
        Log::line(QStringLiteral("the X server refused to report drags (error %1)")
                      .arg(ownerError ? ownerError->error_code : pointerError->error_code));
        return false;
    }
    return true;
}

void X11DragMonitor::readButtonMapping()
{
    xcb_connection_t *connection = m_connection->connection();
    const Reply<xcb_get_pointer_mapping_reply_t> reply(
        xcb_get_pointer_mapping_reply(connection, xcb_get_pointer_mapping(connection), nullptr));
    m_leftButtons.clear();
    if (reply) {
        const quint8 *map = xcb_get_pointer_mapping_map(reply.get());
        for (int i = 0; i < xcb_get_pointer_mapping_map_length(reply.get()); ++i) {
            if (map[i] == 1)
                m_leftButtons << quint32(i + 1);
        }
    }
    if (m_leftButtons.isEmpty())
        m_leftButtons << 1;
}

void X11DragMonitor::handleEvent(xcb_generic_event_t *event)
{
    const quint8 type = event->response_type & 0x7f;
    if (type == m_xfixesFirstEvent + XCB_XFIXES_SELECTION_NOTIFY) {
        const auto *notify = reinterpret_cast<const xcb_xfixes_selection_notify_event_t *>(event);
        if (notify->selection == m_dragSelection)
            ownerChanged(notify->owner, notify->selection_timestamp);
    } else if (type == XCB_SELECTION_NOTIFY) {
        selectionConverted(reinterpret_cast<const xcb_selection_notify_event_t *>(event));
    } else if (type == XCB_GE_GENERIC) {
        const auto *generic = reinterpret_cast<const xcb_ge_generic_event_t *>(event);
        if (generic->extension == m_xinputOpcode)
            rawPointerEvent(generic->event_type,
                            reinterpret_cast<const xcb_input_raw_button_press_event_t *>(event)->detail);
    } else if (type == XCB_MAPPING_NOTIFY) {
        if (reinterpret_cast<const xcb_mapping_notify_event_t *>(event)->request == XCB_MAPPING_POINTER) {
            readButtonMapping();
            m_connection->flush();
        }
    }
}

void X11DragMonitor::ownerChanged(xcb_window_t owner, xcb_timestamp_t ownershipTime)
{
    if (owner == XCB_NONE)
        return;
    ++m_changeCount;
    m_filePaths.clear();
    // Sources answer only requests made with the time they took the selection at (Qt's do, at least).
    m_requestTime = ownershipTime;
    xcb_convert_selection(m_connection->connection(), m_window, m_dragSelection, m_uriList, m_property,
                          ownershipTime);
    m_connection->flush();
    m_conversionTimeout.start();
}

void X11DragMonitor::selectionConverted(const xcb_selection_notify_event_t *event)
{
    // An answer to an earlier drag's request, or one that came after we gave up, says nothing of this drag.
    if (event->requestor != m_window || event->selection != m_dragSelection || event->time != m_requestTime ||
        !m_conversionTimeout.isActive())
        return;
    m_conversionTimeout.stop();
    if (event->property == XCB_NONE)
        return;
    xcb_connection_t *connection = m_connection->connection();
    const Reply<xcb_get_property_reply_t> reply(xcb_get_property_reply(
        connection,
        xcb_get_property(connection, true, m_window, event->property, XCB_GET_PROPERTY_TYPE_ANY, 0, 1 << 24),
        nullptr));
    m_connection->flush();
    if (!reply)
        return;
    if (reply->type == m_incr) {
        Log::line(QStringLiteral("the drag source sends its file list in pieces, which is not read"));
        return;
    }
    if (reply->format != 8)
        return;
    m_filePaths = localFilePaths(QByteArray(static_cast<const char *>(xcb_get_property_value(reply.get())),
                                            xcb_get_property_value_length(reply.get())));
}

void X11DragMonitor::rawPointerEvent(quint16 type, quint32 button)
{
    switch (type) {
    case XCB_INPUT_RAW_BUTTON_PRESS:
        if (m_leftButtons.contains(button))
            m_leftButtonDown = true;
        break;
    case XCB_INPUT_RAW_BUTTON_RELEASE:
        if (m_leftButtons.contains(button)) {
            m_leftButtonDown = false;
            emitQueuedDrag();
            Q_EMIT leftMouseUp();
        }
        break;
    case XCB_INPUT_RAW_MOTION:
        // A fast mouse reports hundreds of motions a second; whoever listens needs only the latest.
        if (m_leftButtonDown && !m_dragQueued) {
            m_dragQueued = true;
            QMetaObject::invokeMethod(this, &X11DragMonitor::emitQueuedDrag, Qt::QueuedConnection);
        }
        break;
    }
}

void X11DragMonitor::emitQueuedDrag()
{
    if (std::exchange(m_dragQueued, false))
        Q_EMIT leftMouseDragged();
}
