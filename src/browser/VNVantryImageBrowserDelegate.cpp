#include "VNVantryImageBrowserDelegate.h"

#include "NotificationCenter.h"
#include "StringTable.h"
#include "UserDefaults.h"
#include "VNImageBrowserView.h"
#include "VNRecentFiles.h"

namespace {

constexpr int checkIntervalMSecs = 600 * 1000;
// After an activation, files that the activation itself or the last minutes changed may show up late.
constexpr int lateCheckMSecs[] = {500, 3500, 13500};

// Resignations of active state, for saving on every fifth.
int resignationCount = 0;

} // namespace

VNVantryImageBrowserDelegate::VNVantryImageBrowserDelegate(std::unique_ptr<VNRecentFiles> recentFiles,
                                                           QObject *parent)
    : VNImageBrowserViewDelegate(parent), m_recentFiles(std::move(recentFiles))
{
    m_checkTimer.setInterval(checkIntervalMSecs);
    connect(&m_checkTimer, &QTimer::timeout, this, &VNVantryImageBrowserDelegate::checkForChangedFiles);
    m_checkTimer.start();
    connect(m_recentFiles.get(), &VNRecentFiles::eventsChanged, this,
            &VNVantryImageBrowserDelegate::checkForChangedFiles);
    UserDefaults &defaults = UserDefaults::standard();
    for (const char *key :
         {"wantedDirectories", "unwantedDirectories", "unwantedExtensions", "unwantedItems"})
        defaults.observe(QString::fromLatin1(key), this, [this] { checkForChangedFiles(); });
    setExplanation(StringTable::localized(QStringLiteral("VNVantryBrowserExplanationTop")));
}

VNVantryImageBrowserDelegate::~VNVantryImageBrowserDelegate() = default;

void VNVantryImageBrowserDelegate::checkForChangedFiles()
{
    updateChangedFiles();
}

void VNVantryImageBrowserDelegate::updateChangedFiles()
{
    if (!m_recentFiles)
        return;
    QList<VNItemRef> answer;
    if (hasCurrentPath()) {
        answer = m_recentFiles->recentFilesInDirectory(m_currentPath);
    } else {
        QSet<QString> coolerFirstRow;
        if (m_coolerDelegate) {
            const QStringList paths = m_coolerDelegate->pathsInFirstRow();
            coolerFirstRow = QSet<QString>(paths.begin(), paths.end());
        }
        answer = m_recentFiles->recentFiles(coolerFirstRow);
    }
    const bool same = std::equal(answer.begin(), answer.end(), m_itemsArray.begin(), m_itemsArray.end(),
                                 [](const VNItemRef &a, const VNItemRef &b) { return a->isEqual(*b); });
    if (!same)
        replaceItems(answer);
}

void VNVantryImageBrowserDelegate::imageBrowserCellWasDoubleClicked(int index)
{
    const VNItemRef item = imageBrowserItemAtIndex(index);
    if (!item)
        return;
    if (!item->isStack()) {
        VNImageBrowserViewDelegate::imageBrowserCellWasDoubleClicked(index);
        NotificationCenter::defaultCenter().post(QStringLiteral("itemOpenedInVantry"), item.get());
        return;
    }
    m_currentPath = item->path();
    checkForChangedFiles();
    Q_EMIT hasCurrentPathChanged();
    reloadBrowserNow();
    if (VNImageBrowserView *browser = imageBrowser()) {
        browser->setSelectionIndexes({0});
        browser->scrollIndexToVisible(0);
    }
    setExplanation(StringTable::substitute(
        StringTable::localized(QStringLiteral("VNVantryBrowserExplanationFolder")), {m_currentPath}));
}

void VNVantryImageBrowserDelegate::backAction()
{
    m_currentPath.clear();
    Q_EMIT hasCurrentPathChanged();
    checkForChangedFiles();
    setExplanation(StringTable::localized(QStringLiteral("VNVantryBrowserExplanationTop")));
}

bool VNVantryImageBrowserDelegate::imageBrowserRemoveVNItems(const QList<VNItemRef> &items, bool moveToTrash)
{
    if (moveToTrash && !moveItemFilesToTrash(items))
        return false;
    removeItems(items);
    return true;
}

void VNVantryImageBrowserDelegate::removeItems(const QList<VNItemRef> &items)
{
    if (!m_recentFiles)
        return;
    m_recentFiles->removeItems(items);
    removeFromArray(items);
    checkForChangedFiles();
}

void VNVantryImageBrowserDelegate::imageBrowserSelectionDidChange()
{
    if (m_coolerDelegate && hasSelection() && m_coolerDelegate->imageBrowser())
        m_coolerDelegate->imageBrowser()->clearSelectionIndexes();
}

void VNVantryImageBrowserDelegate::applicationDidFinishLaunching()
{
    m_recentFiles->start();
    applicationWillBecomeActive();
}

void VNVantryImageBrowserDelegate::applicationWillBecomeActive()
{
    updateChangedFiles();
    updateChangedFiles();
    for (int delay : lateCheckMSecs)
        QTimer::singleShot(delay, this, &VNVantryImageBrowserDelegate::checkForChangedFiles);
    backAction();
    reloadBrowserNow();
    scrollToFirstItem();
}

void VNVantryImageBrowserDelegate::applicationDidBecomeActive()
{
    scrollToFirstItem();
}

void VNVantryImageBrowserDelegate::applicationDidResignActive()
{
    if (resignationCount++ % 5 == 0 && m_recentFiles)
        m_recentFiles->writeState();
}

void VNVantryImageBrowserDelegate::applicationWillTerminate()
{
    if (!m_recentFiles)
        return;
    m_recentFiles->writeState();
    disconnect(m_recentFiles.get(), nullptr, this, nullptr);
    m_recentFiles.reset();
}

void VNVantryImageBrowserDelegate::setExplanation(const QString &text)
{
    m_explanation = text;
    Q_EMIT explanationChanged(text);
}

void VNVantryImageBrowserDelegate::scrollToFirstItem()
{
    if (VNImageBrowserView *browser = imageBrowser())
        browser->scrollIndexToVisible(0);
}
