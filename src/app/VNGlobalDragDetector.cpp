#include "VNGlobalDragDetector.h"

#include "UserDefaults.h"
#include "VNDropZoneControl.h"

#include <QTimer>

#include <chrono>

using namespace std::chrono_literals;

VNGlobalDragDetector::VNGlobalDragDetector(VNDropZoneControl &dropZoneController,
                                           std::function<QStringList()> draggedFilePaths,
                                           UserDefaults &defaults, QObject *parent)
    : QObject(parent), m_dropZoneController(dropZoneController),
      m_draggedFilePaths(std::move(draggedFilePaths)), m_defaults(defaults)
{
}

void VNGlobalDragDetector::handleGlobalEvent(GlobalEvent event, qint64 changeCount)
{
    switch (event) {
    case GlobalEvent::LeftMouseDown:
        m_far = false;
        return;
    case GlobalEvent::LeftMouseUp:
        m_far = false;
        // Late enough for a drop onto the zone to complete.
        if (m_dragHappening)
            QTimer::singleShot(500ms, this, [this] { m_dropZoneController.slideOffscreen(); });
        m_dragHappening = false;
        return;
    case GlobalEvent::LeftMouseDragged:
        break;
    }

    if (changeCount != m_changeCount) {
        m_changeCount = changeCount;
        m_dragHappening = true;
    }
    if (!m_dragHappening)
        return;

    const double factor = m_defaults.boolValue(QStringLiteral("KPUseSmallDropZoneActiveZone")) ? 0.15 : 1.0;
    const double distance = m_dropZoneController.distanceFromMouse();
    if (distance > 250 * factor)
        m_far = true;
    if (distance > 550 * factor) {
        pushDistance(distance);
        hideDropZone();
        return;
    }
    if (m_dropZoneController.isOnScreen() && distance < 150) {
        pushDistance(distance);
        return;
    }
    // Three events back the pointer was at least as far: it is not moving away.
    if (m_distanceHistory.back() >= distance && m_far)
        showDropZoneIfFilesInPasteBoard();
    else
        hideDropZone();
    pushDistance(distance);
}

void VNGlobalDragDetector::hideDropZone()
{
    m_dropZoneController.slideOffscreen();
}

void VNGlobalDragDetector::showDropZoneIfFilesInPasteBoard()
{
    const qsizetype fileCount = m_draggedFilePaths().size();
    if (fileCount >= 1 && fileCount <= 19)
        m_dropZoneController.slideOnscreen();
    else
        hideDropZone();
}

void VNGlobalDragDetector::pushDistance(double distance)
{
    m_distanceHistory = {distance, m_distanceHistory[0], m_distanceHistory[1]};
}
