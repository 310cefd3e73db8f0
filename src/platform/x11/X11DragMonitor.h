#pragma once

#include <QList>
#include <QObject>
#include <QStringList>
#include <QTimer>

#include <xcb/xcb.h>

class XcbConnection;

// Watches drags anywhere on the X display. A drag source takes ownership of the XdndSelection when a drag
// starts, so each new owner counts as a new drag; the owner is then asked for the drag's "text/uri-list" to
// learn the files it carries. Raw pointer events on the root window, which arrive whatever window has the
// pointer and even while the source holds a pointer grab, tell when the left button is dragged and released.
class X11DragMonitor : public QObject {
    Q_OBJECT

public:
    explicit X11DragMonitor(QObject *parent = nullptr);
    ~X11DragMonitor() override;

    // False without an X server or without the XFixes and XInput 2 extensions.
    bool isAvailable() const { return m_available; }
    qint64 changeCount() const { return m_changeCount; }
    // Local files of the latest drag; empty until its source has answered, and for drags of no files.
    QStringList draggedFilePaths() const { return m_filePaths; }

Q_SIGNALS:
    // Pointer motion while the left button is held, at most once per batch of events read.
    void leftMouseDragged();
    void leftMouseUp();

private:
    bool selectEvents();
    void readButtonMapping();
    void handleEvent(xcb_generic_event_t *event);
    void ownerChanged(xcb_window_t owner, xcb_timestamp_t ownershipTime);
    void selectionConverted(const xcb_selection_notify_event_t *event);
    void rawPointerEvent(quint16 type, quint32 button);
    void emitQueuedDrag();

    XcbConnection *m_connection;
    bool m_available = false;
    quint8 m_xfixesFirstEvent = 0;
    quint8 m_xinputOpcode = 0;
    xcb_atom_t m_dragSelection = XCB_NONE;
    xcb_atom_t m_uriList = XCB_NONE;
    xcb_atom_t m_incr = XCB_NONE;
    xcb_atom_t m_property = XCB_NONE;
    xcb_window_t m_window = XCB_NONE;
    // Physical buttons that act as the left button (more than one, or another than 1, when remapped).
    QList<quint32> m_leftButtons;

    qint64 m_changeCount = 0;
    QStringList m_filePaths;
    xcb_timestamp_t m_requestTime = 0;
    QTimer m_conversionTimeout;

    bool m_leftButtonDown = false;
    bool m_dragQueued = false;
};
