#include <QApplication>

#include <gtest/gtest.h>

// Widget tests run with a full QApplication; ctest selects the offscreen platform unless a test brings its
// own X server.
int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
