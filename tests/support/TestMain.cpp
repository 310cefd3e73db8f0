#include <QCoreApplication>

#include <gtest/gtest.h>

// Tests run with a Qt application so queued calls, timers and main-thread callbacks behave as in the program.
int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
