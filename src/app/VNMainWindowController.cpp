#include "VNMainWindowController.h"

#include "UserDefaults.h"
#include "VNBackgroundView.h"
#include "VNBrowserCellDelegate.h"
#include "VNImageBrowserView.h"
#include "VNRecentFiles.h"
#include "VNVantryImageBrowserDelegate.h"

#include <QGuiApplication>
#include <QHBoxLayout>
#include <QIcon>
#include <QLabel>
#include <QScreen>
#include <QShortcut>
#include <QToolButton>
#include <QVBoxLayout>

namespace {

const QString backgroundKey = QStringLiteral("VNVantryBackgroundColour");
const QString textKey = QStringLiteral("VNVantryTextColour");
constexpr int screenInset = 40;
constexpr double rowsShown = 2.4;

} // namespace

VNMainWindowController::VNMainWindowController(std::unique_ptr<VNRecentFiles> recentFiles,
                                               Presenter &presenter, QObject *parent)
    : QObject(parent)
{
    m_vantryDelegate = new VNVantryImageBrowserDelegate(std::move(recentFiles), this);
    m_vantryDelegate->setPresenter(&presenter);
    buildWindow();

    for (QScreen *screen : QGuiApplication::screens())
        connect(screen, &QScreen::availableGeometryChanged, this,
                &VNMainWindowController::setWindowFrameForCurrentScreen);
    connect(qApp, &QGuiApplication::screenAdded, this, [this](QScreen *screen) {
        connect(screen, &QScreen::availableGeometryChanged, this,
                &VNMainWindowController::setWindowFrameForCurrentScreen);
        setWindowFrameForCurrentScreen();
    });
    connect(qApp, &QGuiApplication::screenRemoved, this,
            &VNMainWindowController::setWindowFrameForCurrentScreen);
    connect(qApp, &QGuiApplication::primaryScreenChanged, this,
            &VNMainWindowController::setWindowFrameForCurrentScreen);

    UserDefaults &defaults = UserDefaults::standard();
    defaults.observe(backgroundKey, this, [this] { applyRecentBackground(); });
    // After a change, selected titles take the chosen colour too; at start they are white.
    defaults.observe(textKey, this, [this] {
        applyRecentColours();
        cellDelegate()->setHighlightedTitleColour(cellDelegate()->titleColour());
    });
    applyRecentBackground();
}

VNMainWindowController::~VNMainWindowController() = default;

void VNMainWindowController::buildWindow()
{
    m_window = std::make_unique<QWidget>();
    m_window->setWindowTitle(QStringLiteral("Vantry"));
    m_window->setObjectName(QStringLiteral("VNMainWindow"));
    QPalette palette = m_window->palette();
    palette.setColor(QPalette::Window, QColor(28, 30, 28));
    palette.setColor(QPalette::WindowText, Qt::white);
    m_window->setPalette(palette);

    m_recentBackground = new VNBackgroundView(m_window.get());
    m_backButton = new QToolButton(m_recentBackground);
    m_backButton->setText(tr("Back"));
    m_backButton->setArrowType(Qt::LeftArrow);
    m_backButton->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    m_backButton->setAutoRaise(true);
    m_backButton->setToolTip(tr("Back to all recent documents (Backspace)"));
    m_backButton->setVisible(false);
    m_explanation = new QLabel(m_vantryDelegate->explanation(), m_recentBackground);
    m_explanation->setTextInteractionFlags(Qt::NoTextInteraction);
    m_itemCount = new QLabel(m_recentBackground);
    m_vantryBrowser = new VNImageBrowserView(m_recentBackground);
    m_vantryBrowser->setAccessibleName(tr("Recent documents"));
    m_vantryDelegate->setImageBrowser(m_vantryBrowser);

    auto *header = new QHBoxLayout;
    header->addWidget(m_backButton);
    header->addWidget(m_explanation, 1);
    header->addWidget(m_itemCount);
    m_menuButton = new QToolButton(m_recentBackground);
    m_menuButton->setIcon(QIcon::fromTheme(QStringLiteral("open-menu")));
    m_menuButton->setText(tr("Menu"));
    m_menuButton->setToolTip(tr("Vantry menu"));
    m_menuButton->setPopupMode(QToolButton::InstantPopup);
    m_menuButton->setAutoRaise(true);
    m_menuButton->setVisible(false);
    header->addWidget(m_menuButton);
    auto *recentLayout = new QVBoxLayout(m_recentBackground);
    recentLayout->setContentsMargins(12, 8, 12, 8);
    recentLayout->addLayout(header);
    recentLayout->addWidget(m_vantryBrowser, 1);
    auto *windowLayout = new QVBoxLayout(m_window.get());
    windowLayout->setContentsMargins(8, 8, 8, 8);
    windowLayout->addWidget(m_recentBackground);

    connect(m_backButton, &QToolButton::clicked, m_vantryDelegate, &VNVantryImageBrowserDelegate::backAction);
    for (const QKeySequence &keys : {QKeySequence(Qt::Key_Backspace), QKeySequence(Qt::ALT | Qt::Key_Left)}) {
        auto *back = new QShortcut(keys, m_window.get());
        connect(back, &QShortcut::activated, m_vantryDelegate, [this] {
            if (m_vantryDelegate->hasCurrentPath())
                m_vantryDelegate->backAction();
        });
    }
    connect(m_vantryDelegate, &VNVantryImageBrowserDelegate::hasCurrentPathChanged, this,
            [this] { m_backButton->setVisible(m_vantryDelegate->hasCurrentPath()); });
    connect(m_vantryDelegate, &VNVantryImageBrowserDelegate::explanationChanged, m_explanation,
            &QLabel::setText);
    const auto showCount = [this] { m_itemCount->setText(m_vantryDelegate->currentNumberOfItemsString()); };
    connect(m_vantryDelegate, &VNVantryImageBrowserDelegate::itemCountChanged, this, showCount);
    showCount();

    const int rowHeight = VNBrowserCellDelegate::cellSize().height();
    m_window->resize(900, int(rowHeight * rowsShown) + 60);
}

void VNMainWindowController::setMenu(QMenu *menu)
{
    m_menuButton->setMenu(menu);
    m_menuButton->setVisible(menu != nullptr);
}

QColor VNMainWindowController::subtitleColour(const QColor &text, const QColor &background)
{
    constexpr double fraction = 0.4;
    const auto blend = [](double from, double to) { return from + (to - from) * fraction; };
    return QColor::fromRgbF(
        float(blend(text.redF(), background.redF())), float(blend(text.greenF(), background.greenF())),
        float(blend(text.blueF(), background.blueF())), float(blend(text.alphaF(), background.alphaF())));
}

VNBrowserCellDelegate *VNMainWindowController::cellDelegate() const
{
    return static_cast<VNBrowserCellDelegate *>(m_vantryBrowser->itemDelegate());
}

void VNMainWindowController::applyRecentColours()
{
    const UserDefaults &defaults = UserDefaults::standard();
    const QColor text = defaults.colourValue(textKey);
    const QColor background = defaults.colourValue(backgroundKey);
    VNBrowserCellDelegate *cells = cellDelegate();
    cells->setTitleColour(text);
    cells->setSubtitleColour(subtitleColour(text, background));
    for (QLabel *label : {m_explanation, m_itemCount}) {
        QPalette palette = label->palette();
        palette.setColor(QPalette::WindowText, cells->subtitleColour());
        label->setPalette(palette);
    }
    for (QToolButton *button : {m_backButton, m_menuButton}) {
        QPalette palette = button->palette();
        palette.setColor(QPalette::ButtonText, text);
        button->setPalette(palette);
    }
    m_vantryBrowser->viewport()->update();
}

void VNMainWindowController::applyRecentBackground()
{
    m_recentBackground->setBackgroundColour(UserDefaults::standard().colourValue(backgroundKey));
    applyRecentColours();
}

QRect VNMainWindowController::fullSizeWindowFrame() const
{
    const QScreen *screen = QGuiApplication::primaryScreen();
    const int height = m_window->height();
    if (!screen)
        return QRect(screenInset, screenInset, m_window->width(), height);
    const QRect inset =
        screen->availableGeometry().adjusted(screenInset, screenInset, -screenInset, -screenInset);
    return QRect(inset.x(), inset.y() + int((inset.height() - height) * 0.5), inset.width(), height);
}

void VNMainWindowController::setWindowFrameForCurrentScreen()
{
    const QRect frame = fullSizeWindowFrame();
    // A change of height by one forces a relayout even when the frame stays the same.
    m_window->setGeometry(frame.adjusted(0, 0, 0, 1));
    m_window->setGeometry(frame);
}
