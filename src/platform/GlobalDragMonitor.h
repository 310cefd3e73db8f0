#pragma once

#include <QObject>
#include <QStringList>

#include <memory>

class X11DragMonitor;

// Notices drags in all programs: a count that grows whenever a drag begins anywhere, the local files the
// latest drag carries, and the left button's drags and releases. Available on an X server; a Wayland session
// lets no program watch another's drags, so there it reports nothing.
class GlobalDragMonitor : public QObject {
    Q_OBJECT

public:
    explicit GlobalDragMonitor(QObject *parent = nullptr);
    ~GlobalDragMonitor() override;

    bool isAvailable() const;
    // Starts at 0; one more for each drag begun since this monitor was made.
    qint64 changeCount() const;
    // Local files of the latest drag, once its source has told; empty for drags of anything else.
    QStringList draggedFilePaths() const;

Q_SIGNALS:
    // Pointer motion while the left button is held; a burst of motion may come as one.
    void leftMouseDragged();
    void leftMouseUp();

private:
    std::unique_ptr<X11DragMonitor> m_x11;
};
