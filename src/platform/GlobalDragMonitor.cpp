#include "GlobalDragMonitor.h"

#include "Log.h"
#include "X11DragMonitor.h"

GlobalDragMonitor::GlobalDragMonitor(QObject *parent) : QObject(parent)
{
    // Xwayland sees only the drags and pointer motion of X programs, which would make the zone erratic.
    if (qEnvironmentVariable("XDG_SESSION_TYPE") == QLatin1String("wayland")) {
        Log::line(QStringLiteral("drags in other programs cannot be watched in a Wayland session"));
        return;
    }
    m_x11 = std::make_unique<X11DragMonitor>();
    connect(m_x11.get(), &X11DragMonitor::leftMouseDragged, this, &GlobalDragMonitor::leftMouseDragged);
    connect(m_x11.get(), &X11DragMonitor::leftMouseUp, this, &GlobalDragMonitor::leftMouseUp);
}

GlobalDragMonitor::~GlobalDragMonitor() = default;

bool GlobalDragMonitor::isAvailable() const
{
    return m_x11 && m_x11->isAvailable();
}

qint64 GlobalDragMonitor::changeCount() const
{
    return m_x11 ? m_x11->changeCount() : 0;
}

QStringList GlobalDragMonitor::draggedFilePaths() const
{
    return m_x11 ? m_x11->draggedFilePaths() : QStringList();
}
