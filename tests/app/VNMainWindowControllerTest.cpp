#include "VNMainWindowController.h"

#include "DefaultsTable.h"
#include "FileSystemEventStream.h"
#include "ScriptedPresenter.h"
#include "TemporaryHome.h"
#include "UserDefaults.h"
#include "VNBrowserCellDelegate.h"
#include "VNImageBrowserView.h"
#include "VNRecentFiles.h"

#include <QGuiApplication>
#include <QScreen>

#include <gtest/gtest.h>

namespace {

class MainWindowTest : public ::testing::Test {
protected:
    MainWindowTest() : stream(home.filePath("eventStream.plist"))
    {
        UserDefaults::standard().registerDefaults(DefaultsTable::registrationDomain());
        controller.emplace(std::make_unique<VNRecentFiles>(UserDefaults::standard(), stream,
                                                           home.filePath("recentItems.plist")),
                           presenter);
    }
    ~MainWindowTest() override
    {
        for (const char *key : {"VNVantryTextColour", "VNVantryBackgroundColour"})
            UserDefaults::standard().removeValue(QString::fromLatin1(key));
    }

    VNBrowserCellDelegate *cells() const
    {
        return static_cast<VNBrowserCellDelegate *>(controller->vantryBrowser()->itemDelegate());
    }

    TemporaryHome home;
    FileSystemEventStream stream;
    ScriptedPresenter presenter;
    std::optional<VNMainWindowController> controller;
};

TEST_F(MainWindowTest, TextColourChangesReachHighlightedTitlesToo)
{
    EXPECT_EQ(cells()->titleColour(), QColor(Qt::white));
    EXPECT_EQ(cells()->highlightedTitleColour(), QColor(Qt::white));
    UserDefaults::standard().setColour(QStringLiteral("VNVantryTextColour"), Qt::red);
    EXPECT_EQ(cells()->titleColour(), QColor(Qt::red));
    EXPECT_EQ(cells()->highlightedTitleColour(), QColor(Qt::red));

    // Subtitles: the text colour blended 40 % towards the background.
    const QColor subtitle = VNMainWindowController::subtitleColour(QColor::fromRgbF(1, 1, 1, 1),
                                                                   QColor::fromRgbF(0, 0.5, 0, 0.5));
    EXPECT_NEAR(subtitle.redF(), 0.6, 0.01);
    EXPECT_NEAR(subtitle.greenF(), 0.8, 0.01);
    EXPECT_NEAR(subtitle.alphaF(), 0.8, 0.01);
    EXPECT_EQ(cells()->subtitleColour(),
              VNMainWindowController::subtitleColour(
                  Qt::red, UserDefaults::standard().colourValue(QStringLiteral("VNVantryBackgroundColour"))));
}

TEST_F(MainWindowTest, WindowSpansTheScreenFortyPixelsInAndIsCentredVertically)
{
    const QRect screen = QGuiApplication::primaryScreen()->availableGeometry();
    controller->setWindowFrameForCurrentScreen();
    const QRect frame = controller->window()->geometry();
    EXPECT_EQ(frame.left(), screen.left() + 40);
    EXPECT_EQ(frame.width(), screen.width() - 80);
    const int height = frame.height();
    EXPECT_NEAR(frame.top(), screen.top() + 40 + (screen.height() - 80 - height) / 2.0, 1.0);
}

} // namespace
