#pragma once

#include <QListView>

// A grid of item cells: image, title and subtitle, laid out left to right in rows that follow the width.
// Reports the user's intents (open, remove, trash) as signals; the data source decides what they mean.
class VNImageBrowserView : public QListView {
    Q_OBJECT

public:
    explicit VNImageBrowserView(QWidget *parent = nullptr);

    QList<int> selectionIndexes() const; // ascending
    void setSelectionIndexes(const QList<int> &indexes, bool byExtendingSelection = false);
    void clearSelectionIndexes();
    void scrollIndexToVisible(int index);
    QRect itemFrameAtIndex(int index) const;
    int numberOfColumns() const;

Q_SIGNALS:
    void cellWasDoubleClicked(int index);
    // The delete key over a selection; `moveToTrash` when Control was held.
    void removeItemsRequested(const QList<int> &indexes, bool moveToTrash);
    void selectionDidChange();

protected:
    void keyPressEvent(QKeyEvent *event) override;
    void selectionChanged(const QItemSelection &selected, const QItemSelection &deselected) override;
};
