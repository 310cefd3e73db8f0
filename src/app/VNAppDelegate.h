#pragma once

#include <QObject>
#include <QPointer>
#include <QStringList>

#include <memory>

class DialogPresenter;
class MetadataIndexFeeder;
class QAction;
class QMenu;
class QMessageBox;
class QPropertyAnimation;
class QSystemTrayIcon;
class QTextBrowser;
class VNMainWindowController;

// The application's single controller: registers the defaults, lives in the tray or the taskbar, shows and
// hides the main window, forwards activation, deactivation and termination to the recent list, and owns the
// global hot key's wiring. Main thread only.
class VNAppDelegate : public QObject {
    Q_OBJECT

public:
    explicit VNAppDelegate(QObject *parent = nullptr);
    ~VNAppDelegate() override;

    static VNAppDelegate *shared();

    // Start-up, in the order the program calls them. `showWindow` is false for a start in the background
    // (at login).
    void applicationWillFinishLaunching();
    void applicationDidFinishLaunching(bool showWindow = true);

    void applicationWillBecomeActive();
    void applicationDidBecomeActive();
    void applicationDidResignActive();
    void applicationWillTerminate();
    // Files handed to the program: they go to the top of the shelf of kept items.
    void applicationOpenFiles(const QStringList &paths);

    VNMainWindowController *windowController() const { return m_windowController.get(); }
    QMenu *statusMenu() const { return m_statusMenu.get(); }

    void setupDefaults();
    void colourDefaultsAction();
    static bool quendelPrefsFileExists();
    void setupTaggingPrefs();

    // Tray icon or taskbar entry.
    void transformApp();
    void transFormAppType(bool foreground);
    void showStatusItem(bool show);
    void runInDock();
    void runInMenubar();
    bool hasStatusItem() const { return m_statusItem != nullptr; }

    // Status menu actions.
    void openVantryAction();
    void preferencesAction();
    void aboutAction();
    void showHelp();
    void openVantryAtLoginAction();

    bool isActive() const { return m_active; }
    void activateIgnoringOtherApps();
    // The hot key's action: shows the program, or hides it when `activate` is false and it is in front.
    void toggleApplication(bool activate);
    // Hides every window of the program, like hiding an application.
    void hideApplication();
    void hideSelf();

private:
    void buildStatusMenu();
    void updateOpenVantryMenuItem();
    void applicationStateChanged();
    void showMainWindow();
    void orderMainWindowOut();
    void startMetadataIndex();

    std::unique_ptr<DialogPresenter> m_presenter;
    std::unique_ptr<VNMainWindowController> m_windowController;
    std::unique_ptr<QMenu> m_statusMenu;
    std::unique_ptr<MetadataIndexFeeder> m_indexFeeder;
    QAction *m_openVantryMenuItem = nullptr;
    QAction *m_openAtLoginMenuItem = nullptr;
    QAction *m_runInDockMenuItem = nullptr;
    QAction *m_runInMenubarMenuItem = nullptr;
    QSystemTrayIcon *m_statusItem = nullptr;
    QPointer<QMessageBox> m_aboutWindow;
    QPointer<QTextBrowser> m_helpWindow;
    QPointer<QPropertyAnimation> m_fade;
    bool m_active = false;
    bool m_willBecomeActiveSent = false;
    bool m_terminated = false;
};
