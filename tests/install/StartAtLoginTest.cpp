#include "desktop/StartAtLogin.h"
#include "desktop/ApplicationId.h"

#include "ValidatorRun.h"
#include "support/TempDataDir.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

using namespace quillmere;
using namespace quillmere::test;

namespace {

// A home of its own: $XDG_CONFIG_HOME points into it (its autostart folder not made yet) and
// the data folder is there.
struct LoginFixture : ::testing::Test {
    TempDataDir home;
    const QString config = home.file(QStringLiteral("config"));
    const QString data = home.file(QStringLiteral("data"));
    const QString entry =
        config + QStringLiteral("/autostart/") + applicationId + QStringLiteral(".desktop");
    const QByteArray savedConfig = qgetenv("XDG_CONFIG_HOME");

    LoginFixture() {
        QDir().mkpath(data);
        qputenv("XDG_CONFIG_HOME", QFile::encodeName(config));
    }
    ~LoginFixture() override { qputenv("XDG_CONFIG_HOME", savedConfig); }

    // As the program makes it: this user's folders and the program that is running.
    StartAtLogin login() const { return StartAtLogin(data); }
    QByteArray entryText() const {
        return home
            .read(QStringLiteral("config/autostart/") + applicationId + QStringLiteral(".desktop"))
            .value_or(QByteArray());
    }
    bool entryExists() const { return QFile::exists(entry); }
    void writeEntry(const QByteArray& text) const {
        QDir().mkpath(config + QStringLiteral("/autostart"));
        QFile f(entry);
        ASSERT_TRUE(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
        f.write(text);
    }
};

void expectValid(const QString& path) {
    const ToolRun run = runTool(QStringLiteral("desktop-file-validate"), {path});
    ASSERT_TRUE(run.found) << "desktop-file-validate comes with scripts/install-deps test";
    EXPECT_TRUE(run.ok) << run.output.toStdString();
}

} // namespace

// The first start makes the missing folder and writes a valid entry that starts this very
// program; from then on the user's choice stands, whether made by hand or with the toggle.
TEST_F(LoginFixture, TheFirstStartWritesTheEntryOnceThenTheUsersChoiceStands) {
    EXPECT_FALSE(login().isOn());
    login().applyFirstStart();
    ASSERT_TRUE(entryExists());
    EXPECT_TRUE(login().isOn());
    expectValid(entry);
    EXPECT_TRUE(entryText().contains(
        (QStringLiteral("\nExec=") +
         StartAtLogin::execArgument(QCoreApplication::applicationFilePath()) + u'\n')
            .toUtf8()));

    ASSERT_TRUE(QFile::remove(entry)); // deleted by hand
    EXPECT_FALSE(login().isOn());
    login().applyFirstStart();
    EXPECT_FALSE(entryExists());

    EXPECT_EQ(login().setOn(true), QString());
    EXPECT_TRUE(login().isOn());
    EXPECT_EQ(login().setOn(false), QString());
    EXPECT_FALSE(entryExists());
    login().applyFirstStart();
    EXPECT_FALSE(login().isOn());
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
        EXPECT_EQ(entryExists(), !c.on);
    }
}

// A folder that cannot be written leaves the entry as it was, says where and why, and keeps
// the choice open for the next start.
TEST_F(LoginFixture, FailuresLeaveTheEntryAsItWasAndSayWhy) {
    // A file where the autostart folder belongs fails even for root.
    QDir().mkpath(config);
    home.write(QStringLiteral("config/autostart"), "not a folder");
    login().applyFirstStart();
    EXPECT_FALSE(QFile::exists(login().markerPath()));
    const QString problem = login().setOn(true);
    EXPECT_TRUE(problem.contains(config + QStringLiteral("/autostart"))) << problem.toStdString();
    EXPECT_FALSE(login().isOn());

    // Without a data folder to remember the choice in, the entry is not removed either: a
    // later start would otherwise bring it back.
    QFile::remove(config + QStringLiteral("/autostart"));
    writeEntry("[Desktop Entry]\nExec=quillmere\n");
    QDir(data).removeRecursively();
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
        expectValid(entry);
    }
}
