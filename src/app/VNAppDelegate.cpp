#include "VNAppDelegate.h"

#include "AppIcon.h"
#include "DPOpenAtLogin.h"
#include "DefaultsTable.h"
#include "DialogPresenter.h"
#include "FileSystemEventStream.h"
#include "Log.h"
#include "MetadataIndexFeeder.h"
#include "QuendelPrefs.h"
#include "QuitFlag.h"
#include "TagStoreAttributes.h"
#include "UserDefaults.h"
#include "VNImageBrowserView.h"
#include "VNMainWindowController.h"
#include "VNPreferencesController.h"
#include "VNRecentFiles.h"
#include "VNVantryImageBrowserDelegate.h"
#include "XPHotKeyControl.h"

#include <QAction>
#include <QActionGroup>
#include <QApplication>
#include <QFile>
#include <QMenu>
#include <QMessageBox>
#include <QPropertyAnimation>
#include <QShortcut>
#include <QStandardPaths>
#include <QSystemTrayIcon>
#include <QTextBrowser>
#include <QTimer>

namespace {

VNAppDelegate *sharedDelegate = nullptr;

const QString runInDockKey = QStringLiteral("KPRunInDock");
constexpr int hideSelfDelayMSecs = 1000;
constexpr int preferencesDelayMSecs = 200;
constexpr int fadeMSecs = 180;
constexpr int indexCatchUpDelay = 30000;

} // namespace

VNAppDelegate::VNAppDelegate(QObject *parent) : QObject(parent)
{
    setupDefaults();
    sharedDelegate = this;
    QApplication::setQuitOnLastWindowClosed(false);
    connect(qApp, &QGuiApplication::applicationStateChanged, this, &VNAppDelegate::applicationStateChanged);
    connect(qApp, &QCoreApplication::aboutToQuit, this, &VNAppDelegate::applicationWillTerminate);
}

VNAppDelegate::~VNAppDelegate()
{
    applicationWillTerminate();
    if (sharedDelegate == this)
        sharedDelegate = nullptr;
}

VNAppDelegate *VNAppDelegate::shared()
{
    return sharedDelegate;
}

void VNAppDelegate::setupDefaults()
{
    UserDefaults::standard().registerDefaults(DefaultsTable::registrationDomain());
}

void VNAppDelegate::colourDefaultsAction()
{
    VNPreferencesController::resetColours();
}

bool VNAppDelegate::quendelPrefsFileExists()
{
    return QFile::exists(QuendelPrefs::prefsFilePath(QuendelPrefs::sharedIdentifier()));
}

void VNAppDelegate::setupTaggingPrefs()
{
    if (!quendelPrefsFileExists())
        QuendelPrefs::standard().setPrefsFile(QuendelPrefs::applicationIdentifier());
}

void VNAppDelegate::applicationWillFinishLaunching()
{
    setupTaggingPrefs();
}

void VNAppDelegate::applicationDidFinishLaunching(bool showWindow)
{
    buildStatusMenu();
    // The preferences window switches between tray and taskbar through the default.
    UserDefaults::standard().observe(runInDockKey, this, [this] { transformApp(); });

    XPHotKeyControl::setApplicationToggle([this](bool activate) { toggleApplication(activate); });
    XPHotKeyControl::installHotKey();
    updateOpenVantryMenuItem();

    m_presenter = std::make_unique<DialogPresenter>();
    m_windowController = std::make_unique<VNMainWindowController>(
        std::make_unique<VNRecentFiles>(UserDefaults::standard(),
                                        FileSystemEventStream::defaultFileSystemEventStream()),
        *m_presenter);
    QWidget *window = m_windowController->window();
    m_presenter->setWindow(window);
    m_windowController->setMenu(m_statusMenu.get());
    for (QAction *action : m_statusMenu->actions())
        window->addAction(action);
    auto *escape = new QShortcut(Qt::Key_Escape, window);
    connect(escape, &QShortcut::activated, this, &VNAppDelegate::hideApplication);
    transformApp();
    m_windowController->setWindowFrameForCurrentScreen();

    m_windowController->vantryDelegate()->applicationDidFinishLaunching();
    if (showWindow)
        showMainWindow();
    startMetadataIndex();
}

void VNAppDelegate::startMetadataIndex()
{
    m_indexFeeder = std::make_unique<MetadataIndexFeeder>();
    m_indexFeeder->setAttributeReader(TagStoreAttributes::read);
    m_indexFeeder->setContentIndexing(true);
    if (!m_indexFeeder->start()) {
        m_indexFeeder.reset();
        return;
    }
    FileSystemEventStream::defaultFileSystemEventStream().addObserver(m_indexFeeder.get());
    // Changes made while the program was not running; late, so as not to burden the launch.
    QTimer::singleShot(indexCatchUpDelay, m_indexFeeder.get(),
                       [feeder = m_indexFeeder.get()] { feeder->catchUp(); });
}

void VNAppDelegate::applicationStateChanged()
{
    const bool active = QGuiApplication::applicationState() == Qt::ApplicationActive;
    if (active == m_active || m_terminated)
        return;
    m_active = active;
    if (active) {
        if (!m_willBecomeActiveSent)
            applicationWillBecomeActive();
        m_willBecomeActiveSent = false;
        applicationDidBecomeActive();
    } else {
        applicationDidResignActive();
    }
}

void VNAppDelegate::applicationWillBecomeActive()
{
    m_willBecomeActiveSent = true;
    if (m_windowController)
        m_windowController->vantryDelegate()->applicationWillBecomeActive();
}

void VNAppDelegate::applicationDidBecomeActive()
{
    if (!m_windowController)
        return;
    QWidget *window = m_windowController->window();
    window->show();
    window->update();
    m_windowController->vantryDelegate()->applicationDidBecomeActive();
    window->raise();
    window->activateWindow();
    // A hot key recorded meanwhile takes effect now.
    XPHotKeyControl::installHotKey();
    updateOpenVantryMenuItem();
}

void VNAppDelegate::applicationDidResignActive()
{
    if (!m_windowController)
        return;
    m_windowController->vantryDelegate()->applicationDidResignActive();
    orderMainWindowOut();
    QTimer::singleShot(hideSelfDelayMSecs, this, &VNAppDelegate::hideSelf);
}

void VNAppDelegate::hideSelf()
{
    if (m_active)
        return;
    m_windowController->vantryBrowser()->setToolTip(QString());
}

void VNAppDelegate::applicationWillTerminate()
{
    if (m_terminated)
        return;
    m_terminated = true;
    UserDefaults &defaults = UserDefaults::standard();
    defaults.setValue(QStringLiteral("VNVirginLaunch"), false);
    QuitFlag::raise();
    VNRecentFiles::shutdown();
    if (m_windowController)
        m_windowController->vantryDelegate()->applicationWillTerminate();
    XPHotKeyControl::unInstallHotKey();
    if (m_indexFeeder) {
        FileSystemEventStream::defaultFileSystemEventStream().removeObserver(m_indexFeeder.get());
        m_indexFeeder.reset();
    }
    defaults.synchronize();
}

void VNAppDelegate::applicationOpenFiles(const QStringList &paths)
{
    // The shelf of kept items is not built yet; the files are only logged until it is.
    Log::line(QStringLiteral("opened %1 files with Vantry: %2").arg(paths.size()).arg(paths.join(u' ')));
    activateIgnoringOtherApps();
}

void VNAppDelegate::transformApp()
{
    const bool runInDock = UserDefaults::standard().boolValue(runInDockKey);
    showStatusItem(!runInDock);
    // Without a tray there must be a taskbar entry, or the program could only be reached by its hot key.
    transFormAppType(runInDock || !hasStatusItem());
}

void VNAppDelegate::transFormAppType(bool foreground)
{
    if (!m_windowController)
        return;
    QWidget *window = m_windowController->window();
    const bool visible = window->isVisible();
    // A tool window has no taskbar entry.
    window->setWindowFlag(Qt::Tool, !foreground);
    if (visible)
        showMainWindow();
}

void VNAppDelegate::showStatusItem(bool show)
{
    if (show && !m_statusItem && QSystemTrayIcon::isSystemTrayAvailable()) {
        m_statusItem = new QSystemTrayIcon(AppIcon::statusItemIcon(), this);
        m_statusItem->setToolTip(QStringLiteral("Vantry"));
        m_statusItem->setContextMenu(m_statusMenu.get());
        connect(m_statusItem, &QSystemTrayIcon::activated, this,
                [this](QSystemTrayIcon::ActivationReason why) {
                    if (why == QSystemTrayIcon::Trigger)
                        m_active ? hideApplication() : activateIgnoringOtherApps();
                });
        m_statusItem->show();
    } else if (!show && m_statusItem) {
        m_statusItem->hide();
        delete m_statusItem;
        m_statusItem = nullptr;
    }
    if (m_runInDockMenuItem) {
        m_runInDockMenuItem->setChecked(!show);
        m_runInMenubarMenuItem->setChecked(show);
    }
}

void VNAppDelegate::runInDock()
{
    UserDefaults::standard().setValue(runInDockKey, true);
    transformApp();
}

void VNAppDelegate::runInMenubar()
{
    UserDefaults::standard().setValue(runInDockKey, false);
    transformApp();
}

void VNAppDelegate::buildStatusMenu()
{
    m_statusMenu = std::make_unique<QMenu>(tr("Vantry"));
    m_openVantryMenuItem =
        m_statusMenu->addAction(tr("&Open Vantry"), this, &VNAppDelegate::openVantryAction);
    m_statusMenu->addAction(tr("&Preferences…"), QKeySequence(Qt::CTRL | Qt::Key_Comma), this,
                            &VNAppDelegate::preferencesAction);
    m_statusMenu->addSeparator();
    auto *placement = new QActionGroup(m_statusMenu.get());
    m_runInMenubarMenuItem =
        m_statusMenu->addAction(tr("Show in the &Tray"), this, &VNAppDelegate::runInMenubar);
    m_runInDockMenuItem =
        m_statusMenu->addAction(tr("Show in the Task&bar"), this, &VNAppDelegate::runInDock);
    for (QAction *action : {m_runInMenubarMenuItem, m_runInDockMenuItem}) {
        action->setCheckable(true);
        placement->addAction(action);
    }
    m_openAtLoginMenuItem =
        m_statusMenu->addAction(tr("Open at &Login"), this, &VNAppDelegate::openVantryAtLoginAction);
    m_openAtLoginMenuItem->setCheckable(true);
    m_statusMenu->addAction(tr("&Reset Colours"), this, &VNAppDelegate::colourDefaultsAction);
    m_statusMenu->addSeparator();
    m_statusMenu->addAction(tr("&Help"), QKeySequence::HelpContents, this, &VNAppDelegate::showHelp);
    m_statusMenu->addAction(tr("&About Vantry"), this, &VNAppDelegate::aboutAction);
    m_statusMenu->addSeparator();
    m_statusMenu->addAction(tr("&Quit Vantry"), QKeySequence::Quit, qApp, &QCoreApplication::quit);
    // Check marks follow the truth each time the menu opens.
    connect(m_statusMenu.get(), &QMenu::aboutToShow, this,
            [this] { m_openAtLoginMenuItem->setChecked(DPOpenAtLogin::openAtLoginEnabled()); });
}

void VNAppDelegate::updateOpenVantryMenuItem()
{
    if (!m_openVantryMenuItem)
        return;
    const QString keys = UserDefaults::standard().boolValue(QStringLiteral("XPUseGlobalHotKey"))
                             ? XPHotKeyControl::hotKeyAsString()
                             : QString();
    m_openVantryMenuItem->setText(keys.isEmpty() ? tr("&Open Vantry") : tr("&Open Vantry") + u'\t' + keys);
}

void VNAppDelegate::openVantryAction()
{
    activateIgnoringOtherApps();
}

void VNAppDelegate::preferencesAction()
{
    activateIgnoringOtherApps();
    QTimer::singleShot(preferencesDelayMSecs, this,
                       [] { VNPreferencesController::singleInstance().showWindow(); });
}

void VNAppDelegate::aboutAction()
{
    activateIgnoringOtherApps();
    if (!m_aboutWindow) {
        m_aboutWindow = new QMessageBox(QMessageBox::NoIcon, tr("About Vantry"),
                                        tr("<h3>Vantry %1</h3>").arg(QCoreApplication::applicationVersion()),
                                        QMessageBox::Close);
        m_aboutWindow->setAttribute(Qt::WA_DeleteOnClose);
        m_aboutWindow->setIconPixmap(AppIcon::statusItemIcon().pixmap(64, 64));
        m_aboutWindow->setInformativeText(
            tr("Keeps a live list of the documents you recently created, changed or opened."));
        m_aboutWindow->setModal(false);
    }
    m_aboutWindow->show();
    m_aboutWindow->raise();
    m_aboutWindow->activateWindow();
}

void VNAppDelegate::showHelp()
{
    activateIgnoringOtherApps();
    if (!m_helpWindow) {
        m_helpWindow = new QTextBrowser;
        m_helpWindow->setAttribute(Qt::WA_DeleteOnClose);
        m_helpWindow->setWindowTitle(tr("Vantry Help"));
        m_helpWindow->setOpenExternalLinks(true);
        QFile readme(QStringLiteral(":/help/README.md"));
        if (readme.open(QIODevice::ReadOnly))
            m_helpWindow->setMarkdown(QString::fromUtf8(readme.readAll()));
        m_helpWindow->resize(720, 640);
        new QShortcut(Qt::Key_Escape, m_helpWindow, [window = m_helpWindow] { window->close(); });
    }
    m_helpWindow->show();
    m_helpWindow->raise();
    m_helpWindow->activateWindow();
}

void VNAppDelegate::openVantryAtLoginAction()
{
    DPOpenAtLogin::toggleLoginItem();
    m_openAtLoginMenuItem->setChecked(DPOpenAtLogin::openAtLoginEnabled());
}

void VNAppDelegate::activateIgnoringOtherApps()
{
    if (m_active) {
        showMainWindow();
        return;
    }
    applicationWillBecomeActive();
    showMainWindow();
}

void VNAppDelegate::showMainWindow()
{
    if (!m_windowController)
        return;
    QWidget *window = m_windowController->window();
    if (m_fade)
        m_fade->stop();
    if (!window->isVisible() && UserDefaults::standard().boolValue(QStringLiteral("VNFadeIn"))) {
        m_fade = new QPropertyAnimation(window, "windowOpacity", window);
        m_fade->setDuration(fadeMSecs);
        m_fade->setStartValue(0.0);
        m_fade->setEndValue(1.0);
        m_fade->start(QAbstractAnimation::DeleteWhenStopped);
    } else {
        window->setWindowOpacity(1.0);
    }
    window->show();
    window->raise();
    window->activateWindow();
}

void VNAppDelegate::toggleApplication(bool activate)
{
    // Just after a hide the toolkit may still call the program active; a hidden window means "show".
    if (activate || !m_windowController || !m_windowController->window()->isVisible())
        activateIgnoringOtherApps();
    else
        hideApplication();
}

void VNAppDelegate::orderMainWindowOut()
{
    QWidget *window = m_windowController->window();
    if (m_fade)
        m_fade->stop();
    if (!window->isVisible() || !UserDefaults::standard().boolValue(QStringLiteral("VNFadeIn"))) {
        window->hide();
        return;
    }
    m_fade = new QPropertyAnimation(window, "windowOpacity", window);
    m_fade->setDuration(fadeMSecs);
    m_fade->setEndValue(0.0);
    connect(m_fade, &QPropertyAnimation::finished, window, &QWidget::hide);
    m_fade->start(QAbstractAnimation::DeleteWhenStopped);
}

void VNAppDelegate::hideApplication()
{
    if (m_windowController)
        orderMainWindowOut();
    for (QWidget *window : QApplication::topLevelWidgets()) {
        if (window->isVisible() && !qobject_cast<QMenu *>(window) &&
            (!m_windowController || window != m_windowController->window()))
            window->hide();
    }
}
