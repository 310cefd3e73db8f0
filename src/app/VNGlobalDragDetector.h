#pragma once

#include <QObject>
#include <QStringList>

#include <array>
#include <functional>

class UserDefaults;
class VNDropZoneControl;

// Decides from the left button's drags and releases anywhere on screen when to slide the drop zone in:
// during a drag of files that began in another program, once the pointer has been well away from the zone
// and is coming back towards it. The application controller owns the one detector and feeds it the
// global drag monitor's events.
class VNGlobalDragDetector : public QObject {
    Q_OBJECT

public:
    enum class GlobalEvent { LeftMouseDown, LeftMouseUp, LeftMouseDragged };

    // `draggedFilePaths` gives the files on the drag pasteboard. `dropZoneController` must outlive the
    // detector.
    VNGlobalDragDetector(VNDropZoneControl &dropZoneController, std::function<QStringList()> draggedFilePaths,
                         UserDefaults &defaults, QObject *parent = nullptr);

    // One monitored event; `changeCount` is the drag pasteboard's change count at the time.
    void handleGlobalEvent(GlobalEvent event, qint64 changeCount);

    // Takes `changeCount` as already seen, so that a drag started in this program is not taken for a new
    // drag elsewhere once it has resigned active.
    void setChangeCount(qint64 changeCount) { m_changeCount = changeCount; }

    void hideDropZone();
    // Slides the zone in for a drag of 1 to 19 files, hides it otherwise.
    void showDropZoneIfFilesInPasteBoard();

private:
    void pushDistance(double distance);

    VNDropZoneControl &m_dropZoneController;
    const std::function<QStringList()> m_draggedFilePaths;
    UserDefaults &m_defaults;
    qint64 m_changeCount = 0;
    bool m_dragHappening = false;
    // The pointer has been beyond the near threshold since the last mouse-up.
    bool m_far = false;
    // The last three distances, newest first. Unlike the far flag, kept across drags.
    std::array<double, 3> m_distanceHistory = {200000000.0, 200000000.0, 200000000.0};
};
