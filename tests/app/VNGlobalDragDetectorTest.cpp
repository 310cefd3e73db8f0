#include "VNGlobalDragDetector.h"

#include "QtPrinters.h"
#include "TemporaryHome.h"
#include "UserDefaults.h"
#include "VNDropZoneControl.h"
#include "WaitUntil.h"

#include <gtest/gtest.h>

#include <initializer_list>

namespace {

// A zone that slides at once and records each slide as "on" or "off".
class StandInDropZone : public VNDropZoneControl {
public:
    double distanceFromMouse() const override { return distance; }
    bool isOnScreen() const override { return onScreen; }
    void slideOnscreen() override
    {
        onScreen = true;
        slides << QStringLiteral("on");
    }
    void slideOffscreen() override
    {
        onScreen = false;
        slides << QStringLiteral("off");
    }

    double distance = 0;
    bool onScreen = false;
    QStringList slides;
};

class VNGlobalDragDetectorTest : public ::testing::Test {
protected:
    // Each drag gets a new change count, as a new owner of the drag selection would give.
    void beginDrag() { ++changeCount; }

    // Drags the pointer through `distances`; the slides they caused.
    QStringList dragThrough(std::initializer_list<double> distances)
    {
        zone.slides.clear();
        for (const double distance : distances) {
            zone.distance = distance;
            detector.handleGlobalEvent(VNGlobalDragDetector::GlobalEvent::LeftMouseDragged, changeCount);
        }
        return zone.slides;
    }

    void mouseUp()
    {
        detector.handleGlobalEvent(VNGlobalDragDetector::GlobalEvent::LeftMouseUp, changeCount);
    }

    TemporaryHome home;
    UserDefaults defaults{home.filePath("defaults.plist")};
    StandInDropZone zone;
    QStringList files = {QStringLiteral("/home/u/a.txt"), QStringLiteral("/home/u/b.txt")};
    VNGlobalDragDetector detector{zone, [this] { return files; }, defaults};
    qint64 changeCount = 0;
};

TEST_F(VNGlobalDragDetectorTest, ShowsOnlyAfterThePointerHasBeenFarDuringTheSameDrag)
{
    beginDrag();
    EXPECT_FALSE(dragThrough({240, 200, 100}).contains("on")) << "never farther than 250";
    EXPECT_EQ(dragThrough({300, 280, 260}), QStringList({"off", "off", "off"})) << "moving away";
    EXPECT_EQ(dragThrough({240}), QStringList({"on"})) << "coming back after having been far";

    mouseUp();
    EXPECT_TRUE(zone.onScreen) << "the zone stays for a drop";
    EXPECT_TRUE(waitUntil([&] { return !zone.onScreen; }));

    beginDrag();
    EXPECT_FALSE(dragThrough({200, 180, 160, 140}).contains("on")) << "mouse-up cleared the far flag";
}

TEST_F(VNGlobalDragDetectorTest, HidesWhenMovingAwayAndKeepsTheZoneCloseToIt)
{
    beginDrag();
    EXPECT_EQ(dragThrough({500, 400, 300, 200}).last(), "on");
    EXPECT_EQ(dragThrough({140, 149}), QStringList()) << "within 150 of a shown zone nothing changes";
    EXPECT_EQ(dragThrough({250, 350, 450}), QStringList({"off", "off", "off"}))
        << "moving steadily away hides before 550";
    EXPECT_EQ(dragThrough({551}), QStringList({"off"}));
}

TEST_F(VNGlobalDragDetectorTest, IgnoresDragsWithoutANewPasteboard)
{
    EXPECT_TRUE(dragThrough({300, 200}).isEmpty()) << "the count has not changed since launch";

    beginDrag();
    // This program took its own drag's count when it resigned active.
    detector.setChangeCount(changeCount);
    EXPECT_TRUE(dragThrough({300, 200}).isEmpty());
    mouseUp();
    EXPECT_TRUE(dragThrough({300, 200}).isEmpty()) << "a drag that was over before";
}

TEST_F(VNGlobalDragDetectorTest, ShowsForOneToNineteenFiles)
{
    files.clear();
    for (int i = 1; i <= 19; ++i)
        files << QStringLiteral("/home/u/%1").arg(i);
    detector.showDropZoneIfFilesInPasteBoard();
    EXPECT_TRUE(zone.onScreen) << "19 files";
    files << QStringLiteral("/home/u/20");
    detector.showDropZoneIfFilesInPasteBoard();
    EXPECT_FALSE(zone.onScreen) << "20 files";
    files = {QStringLiteral("/home/u/1")};
    detector.showDropZoneIfFilesInPasteBoard();
    EXPECT_TRUE(zone.onScreen) << "1 file";
    files.clear();
    detector.showDropZoneIfFilesInPasteBoard();
    EXPECT_FALSE(zone.onScreen) << "no files";
}

TEST_F(VNGlobalDragDetectorTest, SmallActiveZoneShrinksTheThresholdsButNotTheStayDistance)
{
    defaults.setValue(QStringLiteral("KPUseSmallDropZoneActiveZone"), true);
    beginDrag();
    EXPECT_EQ(dragThrough({37}), QStringList({"off"})) << "not beyond 37.5";
    EXPECT_EQ(dragThrough({38}), QStringList({"on"}));
    EXPECT_EQ(dragThrough({82, 60}), QStringList()) << "shown and within 150, moving away or not";
    EXPECT_EQ(dragThrough({83}), QStringList({"off"})) << "beyond 82.5";
}

} // namespace
