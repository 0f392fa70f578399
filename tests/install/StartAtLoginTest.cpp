#include "desktop/StartAtLogin.h"
#include "desktop/ApplicationId.h"

#include "ValidatorRun.h"
#include "support/TempDataDir.h"

#include <QCoreApplication>
#include <QDir>

#include <gtest/gtest.h>

using namespace quillmere;
using namespace quillmere::test;

namespace {

// A home of its own, its autostart folder not made yet and its data folder there, for the
// program that is running.
struct LoginFixture : ::testing::Test {
    TempDataDir home;
    const QString entryName = QStringLiteral("autostart/") + applicationId + u".desktop";
    const QString entry = home.file(entryName);
    LoginFixture() { QDir().mkpath(home.file(QStringLiteral("data"))); }

    StartAtLogin login() const {
        return {home.file(QStringLiteral("autostart")), home.file(QStringLiteral("data")),
                QCoreApplication::applicationFilePath()};
    }
    QByteArray entryText() const { return home.read(entryName).value_or(QByteArray()); }
    void writeEntry(const QByteArray& text) const {
        QDir().mkpath(home.file(QStringLiteral("autostart")));
        home.write(entryName, text);
    }
    void expectValid() const {
        const ToolRun run = runTool(QStringLiteral("desktop-file-validate"), {entry});
        EXPECT_TRUE(run.ok) << run.output.toStdString();
    }
};

} // namespace

// The first start makes the missing folder and writes the entry (that it starts this very
// program is checked on the real binary); from then on the user's choice stands, whether made
// by hand or with the toggle.
TEST_F(LoginFixture, TheFirstStartWritesTheEntryOnceThenTheUsersChoiceStands) {
    EXPECT_FALSE(login().isOn());
    login().applyFirstStart();
    EXPECT_TRUE(login().isOn());

    ASSERT_TRUE(QFile::remove(entry)); // deleted by hand
    login().applyFirstStart();
    EXPECT_FALSE(login().isOn());
    EXPECT_EQ(login().setOn(true), QString());
    EXPECT_TRUE(login().isOn());
    EXPECT_EQ(login().setOn(false), QString());
    login().applyFirstStart();
    EXPECT_FALSE(QFile::exists(entry));
}

// An entry of our name that someone else wrote survives the first start byte for byte; the
// menu shows whether the session will start it, and only the toggle replaces it.
TEST_F(LoginFixture, AHandWrittenEntryIsReplacedOnlyByTheToggle) {
    const struct {
        QByteArray text;
        bool on;
    } cases[] = {
        {"[Desktop Entry]\nType=Application\nExec=/usr/local/bin/other\n", true},
        {"[Desktop Entry]\nHidden=true\n", false},
        {"[Desktop Entry]\nHidden = true\n", false},
        {"[Desktop Entry]\nX-GNOME-Autostart-enabled=false\n", false},
        {"[Desktop Entry]\nHidden=false\n[Desktop Action quiet]\nHidden=true\n", true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text.toStdString());
        QFile::remove(login().markerPath());
        writeEntry(c.text);
        login().applyFirstStart();
        EXPECT_EQ(entryText(), c.text);
        EXPECT_EQ(login().isOn(), c.on);
        EXPECT_EQ(login().setOn(!c.on), QString());
        EXPECT_EQ(login().isOn(), !c.on);
        EXPECT_EQ(QFile::exists(entry), !c.on);
    }
}

// A folder that cannot be written leaves the entry as it was and keeps the choice open for the
// next start (what the menu then says is checked with the panel's options).
TEST_F(LoginFixture, FailuresLeaveTheEntryAsItWasAndTheChoiceOpen) {
    home.write(QStringLiteral("autostart"), "not a folder"); // fails even for root
    login().applyFirstStart();
    EXPECT_FALSE(QFile::exists(login().markerPath()));

    // Without a data folder to remember the choice in, the entry is not removed either: a
    // later start would otherwise bring it back.
    QFile::remove(home.file(QStringLiteral("autostart")));
    writeEntry("[Desktop Entry]\nExec=quillmere\n");
    QDir(home.file(QStringLiteral("data"))).removeRecursively();
    home.write(QStringLiteral("data"), "not a folder");
    EXPECT_FALSE(login().setOn(false).isEmpty());
    EXPECT_TRUE(login().isOn());
}

// The running program's path becomes one Exec argument however odd it is, and the validator
// agrees with every spelling.
TEST_F(LoginFixture, AnyProgramPathBecomesOneValidExecArgument) {
    const struct {
        QString program;
        QString exec;
    } cases[] = {
        {QStringLiteral("/usr/bin/quillmere"), QStringLiteral("/usr/bin/quillmere")},
        {QStringLiteral("/opt/100%/quillmere"), QStringLiteral("/opt/100%%/quillmere")},
        {QStringLiteral("/home/a b/quillmere"), QStringLiteral(R"("/home/a b/quillmere")")},
        {QStringLiteral("/home/it's/quillmere"), QStringLiteral(R"("/home/it's/quillmere")")},
        {QStringLiteral(R"(/tmp/$x"y`/quillmere)"),
         QStringLiteral(R"("/tmp/\\$x\\"y\\`/quillmere")")},
        {QStringLiteral(R"(/tmp/a\b/quillmere)"), QStringLiteral(R"("/tmp/a\\\\b/quillmere")")},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.program.toStdString());
        EXPECT_EQ(StartAtLogin::execArgument(c.program), c.exec);
        writeEntry(StartAtLogin::entryText(c.program));
        expectValid();
    }
}
