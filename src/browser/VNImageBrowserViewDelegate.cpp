#include "VNImageBrowserViewDelegate.h"

#include "NotificationCenter.h"
#include "Packages.h"
#include "Presenter.h"
#include "StringTable.h"
#include "TypeIcons.h"
#include "UserDefaults.h"
#include "VNBrowserCellDelegate.h"
#include "VNImageBrowserView.h"

#include <QFileInfo>
#include <QMimeData>
#include <QThread>
#include <QUrl>

namespace {

constexpr int reloadDelayMSecs = 330;
constexpr int maxFirstRowPaths = 16;

} // namespace

VNImageBrowserViewDelegate::VNImageBrowserViewDelegate(QObject *parent) : QAbstractListModel(parent)
{
    m_reloadTimer.setSingleShot(true);
    m_reloadTimer.setInterval(reloadDelayMSecs);
    connect(&m_reloadTimer, &QTimer::timeout, this, &VNImageBrowserViewDelegate::reloadBrowserNow);
    NotificationCenter::defaultCenter().addObserver(QStringLiteral("iconMayHaveChanged"), this,
                                                    [this](const Notification &) { reloadBrowserSoon(); });
}

VNImageBrowserViewDelegate::~VNImageBrowserViewDelegate()
{
    NotificationCenter::defaultCenter().removeObservers(this);
}

void VNImageBrowserViewDelegate::setImageBrowser(VNImageBrowserView *browser)
{
    m_imageBrowser = browser;
    browser->setModel(this);
    connect(browser, &VNImageBrowserView::cellWasDoubleClicked, this,
            &VNImageBrowserViewDelegate::imageBrowserCellWasDoubleClicked);
    connect(browser, &VNImageBrowserView::removeItemsRequested, this,
            &VNImageBrowserViewDelegate::imageBrowserRemoveItemsAtIndexes);
    connect(browser, &VNImageBrowserView::selectionDidChange, this,
            &VNImageBrowserViewDelegate::imageBrowserSelectionDidChange);
}

int VNImageBrowserViewDelegate::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_shown.size());
}

QVariant VNImageBrowserViewDelegate::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= m_shown.size())
        return QVariant();
    VNItem &item = *m_shown.at(index.row());
    switch (role) {
    case Qt::DisplayRole:
        return item.imageTitle();
    case Qt::ToolTipRole:
        return item.path();
    case Qt::DecorationRole:
        return item.isStack() ? TypeIcons::folderIcon() : TypeIcons::iconForPath(item.path());
    case VNBrowserCellDelegate::SubtitleRole:
        return item.imageSubtitle();
    case VNBrowserCellDelegate::StackCountRole:
        return item.isStack() ? item.stackCount() : 0;
    default:
        return QVariant();
    }
}

Qt::ItemFlags VNImageBrowserViewDelegate::flags(const QModelIndex &index) const
{
    if (!index.isValid())
        return Qt::NoItemFlags;
    return Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsDragEnabled;
}

QStringList VNImageBrowserViewDelegate::mimeTypes() const
{
    return {QStringLiteral("text/uri-list")};
}

QMimeData *VNImageBrowserViewDelegate::mimeData(const QModelIndexList &indexes) const
{
    QList<int> rows;
    for (const QModelIndex &index : indexes)
        rows.append(index.row());
    std::sort(rows.begin(), rows.end());
    QList<QUrl> urls;
    for (const QString &path : pathsForIndexes(rows))
        urls.append(QUrl::fromLocalFile(path));
    auto *mime = new QMimeData;
    mime->setUrls(urls);
    return mime;
}

Qt::DropActions VNImageBrowserViewDelegate::supportedDragActions() const
{
    if (UserDefaults::standard().boolValue(QStringLiteral("VNAlwaysCopyOnDrag")))
        return Qt::CopyAction | Qt::LinkAction;
    return Qt::CopyAction | Qt::MoveAction | Qt::LinkAction;
}

VNItemRef VNImageBrowserViewDelegate::imageBrowserItemAtIndex(int index) const
{
    if (index < 0 || index >= m_itemsArray.size())
        return nullptr;
    return m_itemsArray.at(index);
}

void VNImageBrowserViewDelegate::imageBrowserCellWasDoubleClicked(int index)
{
    if (const VNItemRef item = imageBrowserItemAtIndex(index))
        item->openFile();
}

void VNImageBrowserViewDelegate::imageBrowserRemoveItemsAtIndexes(const QList<int> &indexes, bool moveToTrash)
{
    const QList<int> removed = indexes;
    const QList<int> selection = m_imageBrowser ? m_imageBrowser->selectionIndexes() : QList<int>();
    if (removed.isEmpty() || !imageBrowserRemoveVNItems(itemsForIndexes(removed), moveToTrash))
        return;
    if (removed != selection || !m_imageBrowser)
        return;
    reloadBrowserNow();
    const int count = numberOfItemsInImageBrowser();
    if (count == 0)
        return;
    const int last = removed.last();
    const int next = removed.size() >= 2 ? last + 1 - int(removed.size()) : last;
    m_imageBrowser->setSelectionIndexes({std::min(next, count - 1)});
}

int VNImageBrowserViewDelegate::indexForPath(const QString &path) const
{
    for (int i = 0; i < m_itemsArray.size(); ++i) {
        if (m_itemsArray.at(i)->path() == path)
            return i;
    }
    return -1;
}

QStringList VNImageBrowserViewDelegate::pathsForIndexes(const QList<int> &indexes) const
{
    QStringList paths;
    for (const VNItemRef &item : itemsForIndexes(indexes)) {
        if (const QString path = item->path(); !path.isEmpty())
            paths.append(path);
    }
    return paths;
}

QList<VNItemRef> VNImageBrowserViewDelegate::itemsForIndexes(const QList<int> &indexes) const
{
    QList<VNItemRef> items;
    for (int index : indexes) {
        if (const VNItemRef item = imageBrowserItemAtIndex(index))
            items.append(item);
    }
    return items;
}

QList<VNItemRef> VNImageBrowserViewDelegate::selectedItems() const
{
    return m_imageBrowser ? itemsForIndexes(m_imageBrowser->selectionIndexes()) : QList<VNItemRef>();
}

QStringList VNImageBrowserViewDelegate::selectedItemPaths() const
{
    return m_imageBrowser ? pathsForIndexes(m_imageBrowser->selectionIndexes()) : QStringList();
}

bool VNImageBrowserViewDelegate::hasSelection() const
{
    return m_imageBrowser && !m_imageBrowser->selectionIndexes().isEmpty();
}

QStringList VNImageBrowserViewDelegate::currentItemPaths() const
{
    QStringList paths;
    for (const VNItemRef &item : m_itemsArray) {
        if (const QString path = item->path(); !path.isEmpty())
            paths.append(path);
    }
    return paths;
}

void VNImageBrowserViewDelegate::selectPaths(const QStringList &paths)
{
    if (!m_imageBrowser)
        return;
    QList<int> indexes;
    for (const QString &path : paths) {
        if (const int index = indexForPath(path); index >= 0)
            indexes.append(index);
    }
    if (indexes.isEmpty())
        m_imageBrowser->clearSelectionIndexes();
    else
        m_imageBrowser->setSelectionIndexes(indexes);
}

bool VNImageBrowserViewDelegate::selectNextDocumentWithKey(int key)
{
    switch (key) {
    case Qt::Key_Right:
    case Qt::Key_PageDown:
        return selectNextDocumentWithOffset(1);
    case Qt::Key_Left:
    case Qt::Key_PageUp:
        return selectNextDocumentWithOffset(-1);
    default:
        return false;
    }
}

bool VNImageBrowserViewDelegate::selectNextDocumentWithOffset(int offset)
{
    if (!m_imageBrowser)
        return false;
    const QList<int> selection = m_imageBrowser->selectionIndexes();
    if (selection.isEmpty())
        return false;
    const int target = selection.first() + offset;
    if (target < 0 || target >= numberOfItemsInImageBrowser())
        return false;
    m_imageBrowser->setSelectionIndexes({target});
    m_imageBrowser->scrollIndexToVisible(target);
    return true;
}

QStringList VNImageBrowserViewDelegate::pathsInFirstRow() const
{
    QStringList paths;
    if (!m_imageBrowser || m_shown.isEmpty())
        return paths;
    const int top = m_imageBrowser->itemFrameAtIndex(0).top();
    for (int i = 0; i < m_shown.size() && paths.size() < maxFirstRowPaths; ++i) {
        if (i > 0 && m_imageBrowser->itemFrameAtIndex(i).top() != top)
            break;
        if (const QString path = m_shown.at(i)->path(); !path.isEmpty())
            paths.append(path);
    }
    return paths;
}

void VNImageBrowserViewDelegate::reloadBrowserSoon()
{
    // Requests from other threads are dropped; the next check on the main thread catches up.
    if (QThread::currentThread() != thread() || m_reloadTimer.isActive())
        return;
    m_reloadTimer.start();
}

void VNImageBrowserViewDelegate::reloadBrowserNow()
{
    m_reloadTimer.stop();
    const QList<int> selection = m_imageBrowser ? m_imageBrowser->selectionIndexes() : QList<int>();
    beginResetModel();
    m_shown = m_itemsArray;
    endResetModel();
    // Like the grid of the original, a reload keeps the selected positions.
    QList<int> kept;
    for (int index : selection) {
        if (index < m_shown.size())
            kept.append(index);
    }
    if (m_imageBrowser && !kept.isEmpty())
        m_imageBrowser->setSelectionIndexes(kept);
}

QString VNImageBrowserViewDelegate::currentNumberOfItemsString() const
{
    return StringTable::localized(QStringLiteral("VNCurrentNumberOfItems"))
        .replace(QStringLiteral("%1"), QString::number(m_itemsArray.size()));
}

void VNImageBrowserViewDelegate::replaceItems(const QList<VNItemRef> &items)
{
    const bool countChanged = items.size() != m_itemsArray.size();
    m_itemsArray = items;
    if (countChanged)
        Q_EMIT itemCountChanged();
    reloadBrowserSoon();
}

void VNImageBrowserViewDelegate::removeFromArray(const QList<VNItemRef> &items)
{
    const qsizetype before = m_itemsArray.size();
    m_itemsArray.removeIf([&items](const VNItemRef &item) { return items.contains(item); });
    if (m_itemsArray.size() != before)
        Q_EMIT itemCountChanged();
    reloadBrowserSoon();
}

bool VNImageBrowserViewDelegate::moveItemFilesToTrash(const QList<VNItemRef> &items)
{
    if (!warnAboutTrashing(items))
        return false;
    for (const VNItemRef &item : items)
        item->moveFileToTrash();
    return true;
}

bool VNImageBrowserViewDelegate::warnAboutTrashing(const QList<VNItemRef> &items)
{
    if (items.isEmpty())
        return false;
    const bool anyFolder = std::any_of(items.begin(), items.end(), [](const VNItemRef &item) {
        const QString path = item->path();
        return QFileInfo(path).isDir() && !Packages::isPackage(path);
    });
    if (!anyFolder && UserDefaults::standard().boolValue(QStringLiteral("KPDONTWarnAboutTrashingFiles")))
        return true;
    if (!m_presenter)
        return false;
    Presenter::Alert alert;
    if (anyFolder) {
        alert.title = QStringLiteral("Put entire folder in the trash?");
        alert.message = QStringLiteral("This will remove a folder from your computer.");
    } else if (items.size() == 1) {
        alert.title = QStringLiteral("Move “%1” to the trash?").arg(items.first()->displayName());
        alert.message = QStringLiteral("This will remove the file from your computer. You can turn off this "
                                       "warning in the preferences.");
    } else {
        alert.title = QStringLiteral("Move %1 files to the trash?").arg(items.size());
        alert.message = QStringLiteral("You can turn off this warning in the preferences.");
    }
    alert.buttons = {QStringLiteral("Cancel"), QStringLiteral("Delete Files")};
    return m_presenter->runAlert(alert) == 1;
}
