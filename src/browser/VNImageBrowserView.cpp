#include "VNImageBrowserView.h"

#include "VNBrowserCellDelegate.h"

#include <QKeyEvent>
#include <QScrollBar>

VNImageBrowserView::VNImageBrowserView(QWidget *parent) : QListView(parent)
{
    setViewMode(QListView::IconMode);
    setFlow(QListView::LeftToRight);
    setWrapping(true);
    setResizeMode(QListView::Adjust);
    setMovement(QListView::Static);
    setUniformItemSizes(true);
    setGridSize(VNBrowserCellDelegate::cellSize());
    setSelectionMode(QAbstractItemView::ExtendedSelection);
    setSelectionRectVisible(true);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    setDragEnabled(true);
    setDragDropMode(QAbstractItemView::DragOnly);
    setDefaultDropAction(Qt::CopyAction);
    setFrameShape(QFrame::NoFrame);
    setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    verticalScrollBar()->setSingleStep(24);
    // The coloured view behind the grid shows through.
    setAttribute(Qt::WA_TranslucentBackground);
    viewport()->setAutoFillBackground(false);
    setStyleSheet(QStringLiteral("QListView { background: transparent; }"));
    setItemDelegate(new VNBrowserCellDelegate(this));
    connect(this, &QAbstractItemView::doubleClicked, this,
            [this](const QModelIndex &index) { Q_EMIT cellWasDoubleClicked(index.row()); });
}

QList<int> VNImageBrowserView::selectionIndexes() const
{
    QList<int> rows;
    if (!selectionModel())
        return rows;
    for (const QModelIndex &index : selectionModel()->selectedIndexes())
        rows.append(index.row());
    std::sort(rows.begin(), rows.end());
    return rows;
}

void VNImageBrowserView::setSelectionIndexes(const QList<int> &indexes, bool byExtendingSelection)
{
    if (!model() || !selectionModel())
        return;
    QItemSelection selection;
    for (int row : indexes) {
        const QModelIndex index = model()->index(row, 0);
        if (index.isValid())
            selection.select(index, index);
    }
    selectionModel()->select(selection, byExtendingSelection ? QItemSelectionModel::Select
                                                             : QItemSelectionModel::ClearAndSelect);
    if (!indexes.isEmpty() && !byExtendingSelection)
        selectionModel()->setCurrentIndex(model()->index(indexes.first(), 0), QItemSelectionModel::NoUpdate);
}

void VNImageBrowserView::clearSelectionIndexes()
{
    if (selectionModel())
        selectionModel()->clearSelection();
}

void VNImageBrowserView::scrollIndexToVisible(int index)
{
    if (model() && index >= 0 && index < model()->rowCount())
        scrollTo(model()->index(index, 0));
}

QRect VNImageBrowserView::itemFrameAtIndex(int index) const
{
    return model() ? visualRect(model()->index(index, 0)) : QRect();
}

int VNImageBrowserView::numberOfColumns() const
{
    return std::max(1, viewport()->width() / gridSize().width());
}

void VNImageBrowserView::keyPressEvent(QKeyEvent *event)
{
    const QList<int> selected = selectionIndexes();
    switch (event->key()) {
    case Qt::Key_Delete:
    case Qt::Key_Backspace:
        if (!selected.isEmpty())
            Q_EMIT removeItemsRequested(selected, event->modifiers().testFlag(Qt::ControlModifier));
        return;
    case Qt::Key_Return:
    case Qt::Key_Enter:
        if (!selected.isEmpty())
            Q_EMIT cellWasDoubleClicked(selected.first());
        return;
    default:
        QListView::keyPressEvent(event);
    }
}

void VNImageBrowserView::selectionChanged(const QItemSelection &selected, const QItemSelection &deselected)
{
    QListView::selectionChanged(selected, deselected);
    Q_EMIT selectionDidChange();
}
