#pragma once

#include "VNItem.h"

#include <QAbstractListModel>
#include <QPointer>
#include <QTimer>

class Presenter;
class VNImageBrowserView;

// The data source of an item grid: holds the items in display order, answers the grid's questions, keeps
// selection and reloading, and carries the actions common to all item lists. The grid shows the items as
// they were at the last reload, so changes to the array become visible together.
class VNImageBrowserViewDelegate : public QAbstractListModel {
    Q_OBJECT

public:
    explicit VNImageBrowserViewDelegate(QObject *parent = nullptr);
    ~VNImageBrowserViewDelegate() override;

    void setImageBrowser(VNImageBrowserView *browser);
    VNImageBrowserView *imageBrowser() const { return m_imageBrowser; }
    // Asks the user before trashing; without one, nothing is trashed.
    void setPresenter(Presenter *presenter) { m_presenter = presenter; }

    // Grid data.
    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;
    QStringList mimeTypes() const override;
    QMimeData *mimeData(const QModelIndexList &indexes) const override;
    Qt::DropActions supportedDragActions() const override;

    int numberOfItemsInImageBrowser() const { return int(m_itemsArray.size()); }
    VNItemRef imageBrowserItemAtIndex(int index) const;
    QList<VNItemRef> items() const { return m_itemsArray; }

    virtual void imageBrowserCellWasDoubleClicked(int index);
    // The delete key: removes the items at `indexes`, trashing their files too when `moveToTrash`.
    void imageBrowserRemoveItemsAtIndexes(const QList<int> &indexes, bool moveToTrash);
    // Answers whether the items left the list.
    virtual bool imageBrowserRemoveVNItems(const QList<VNItemRef> &items, bool moveToTrash) = 0;
    virtual void imageBrowserSelectionDidChange() {}

    // Lookup and selection.
    int indexForPath(const QString &path) const; // -1 when absent
    bool hasItemAtPath(const QString &path) const { return indexForPath(path) >= 0; }
    QStringList pathsForIndexes(const QList<int> &indexes) const;
    QList<VNItemRef> itemsForIndexes(const QList<int> &indexes) const;
    QList<VNItemRef> selectedItems() const;
    QStringList selectedItemPaths() const;
    bool hasSelection() const;
    QStringList currentItemPaths() const;
    void selectPaths(const QStringList &paths);
    bool selectNextDocumentWithKey(int key);
    bool selectNextDocumentWithOffset(int offset);
    QStringList pathsInFirstRow() const;

    // Reloading.
    void reloadBrowserSoon();
    void reloadBrowserNow();
    bool reloadPending() const { return m_reloadTimer.isActive(); }

    bool hasItems() const { return !m_itemsArray.isEmpty(); }
    QString currentNumberOfItemsString() const;

    // The trash step: asks (unless the user turned the question off) and trashes the items' files. False
    // when the user declined.
    bool moveItemFilesToTrash(const QList<VNItemRef> &items);
    bool warnAboutTrashing(const QList<VNItemRef> &items);

Q_SIGNALS:
    // hasItems() and currentNumberOfItemsString() may have changed.
    void itemCountChanged();

protected:
    void replaceItems(const QList<VNItemRef> &items);
    void removeFromArray(const QList<VNItemRef> &items);

    QList<VNItemRef> m_itemsArray;

private:
    QPointer<VNImageBrowserView> m_imageBrowser;
    Presenter *m_presenter = nullptr;
    QList<VNItemRef> m_shown; // the items as of the last reload
    QTimer m_reloadTimer;
};
