#pragma once

#include "VNImageBrowserViewDelegate.h"

#include <QPointer>
#include <QTimer>

#include <memory>

class VNRecentFiles;

// The recent list's data source: fills the grid from the recent-files collector, opens a stack into the
// view of its folder's recent files, and refreshes the list on a schedule, on activation and when the
// collector records something.
class VNVantryImageBrowserDelegate : public VNImageBrowserViewDelegate {
    Q_OBJECT

public:
    explicit VNVantryImageBrowserDelegate(std::unique_ptr<VNRecentFiles> recentFiles,
                                          QObject *parent = nullptr);
    ~VNVantryImageBrowserDelegate() override;

    VNRecentFiles *recentFiles() const { return m_recentFiles.get(); }
    // The cooler's data source, whose first row is kept out of the recent list; none until the cooler exists.
    void setCoolerDelegate(VNImageBrowserViewDelegate *cooler) { m_coolerDelegate = cooler; }

    QString currentPath() const { return m_currentPath; }
    bool hasCurrentPath() const { return !m_currentPath.isEmpty(); }
    QString explanation() const { return m_explanation; }

    void checkForChangedFiles();
    void updateChangedFiles();
    void backAction();
    void removeItems(const QList<VNItemRef> &items);

    void imageBrowserCellWasDoubleClicked(int index) override;
    bool imageBrowserRemoveVNItems(const QList<VNItemRef> &items, bool moveToTrash) override;
    void imageBrowserSelectionDidChange() override;

    // Application life cycle.
    void applicationDidFinishLaunching();
    void applicationWillBecomeActive();
    void applicationDidBecomeActive();
    void applicationDidResignActive();
    void applicationWillTerminate();

Q_SIGNALS:
    void hasCurrentPathChanged();
    void explanationChanged(const QString &text);

private:
    void setExplanation(const QString &text);
    void scrollToFirstItem();

    std::unique_ptr<VNRecentFiles> m_recentFiles;
    QPointer<VNImageBrowserViewDelegate> m_coolerDelegate;
    QString m_currentPath;
    QString m_explanation;
    QTimer m_checkTimer;
};
