#include <QApplication>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

int main(int argc, char** argv) {
    // Widget tests always draw offscreen, whatever display the developer has.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    // A menu's "Start at Login" writes an autostart entry: never into the developer's own.
    QTemporaryDir config;
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(config.path()));
    QApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
