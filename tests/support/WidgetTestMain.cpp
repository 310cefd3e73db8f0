#include "TemporaryHome.h"

#include <QApplication>

#include <gtest/gtest.h>

// Widget tests run with a full QApplication on the offscreen platform; a test that needs X brings its own
// server. The program's shared objects (user defaults above all) live in one temporary home for the
// whole run, made before any of them.
int main(int argc, char **argv)
{
    const TemporaryHome home;
    // Listing the tests happens without ctest's environment.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
