#include <QCoreApplication>

#include <gtest/gtest.h>

// Tests of the layers without a display still need an event loop for timers and queued calls.
int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
