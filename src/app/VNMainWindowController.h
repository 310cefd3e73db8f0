#pragma once

#include <QColor>
#include <QObject>
#include <QPointer>
#include <QRect>

#include <memory>

class QLabel;
class QMenu;
class QToolButton;
class QWidget;
class Presenter;
class VNBackgroundView;
class VNBrowserCellDelegate;
class VNImageBrowserView;
class VNRecentFiles;
class VNVantryImageBrowserDelegate;

// Owns the main window: the recent grid on its coloured background with the explanation line, the back
// button and the item count; applies the user's colours and sizes the window to the screen.
class VNMainWindowController : public QObject {
    Q_OBJECT

public:
    VNMainWindowController(std::unique_ptr<VNRecentFiles> recentFiles, Presenter &presenter,
                           QObject *parent = nullptr);
    ~VNMainWindowController() override;

    QWidget *window() const { return m_window.get(); }
    VNImageBrowserView *vantryBrowser() const { return m_vantryBrowser; }
    VNVantryImageBrowserDelegate *vantryDelegate() const { return m_vantryDelegate; }

    // The program's menu, also reachable from the window: in the taskbar there is no tray icon to open it.
    void setMenu(QMenu *menu);

    QRect fullSizeWindowFrame() const;
    void setWindowFrameForCurrentScreen();

    // The text colour blended 40 % towards the background.
    static QColor subtitleColour(const QColor &text, const QColor &background);

private:
    void buildWindow();
    VNBrowserCellDelegate *cellDelegate() const;
    void applyRecentColours();
    void applyRecentBackground();

    std::unique_ptr<QWidget> m_window;
    VNBackgroundView *m_recentBackground = nullptr;
    VNImageBrowserView *m_vantryBrowser = nullptr;
    VNVantryImageBrowserDelegate *m_vantryDelegate = nullptr;
    QLabel *m_explanation = nullptr;
    QLabel *m_itemCount = nullptr;
    QToolButton *m_backButton = nullptr;
    QToolButton *m_menuButton = nullptr;
};
