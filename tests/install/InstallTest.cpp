#include "desktop/ApplicationId.h"
#include "desktop/StartAtLogin.h"

#include "support/Session.h"
#include "support/TempDataDir.h"

#include <QCoreApplication>
#include <QDirIterator>
#include <QFileInfo>
#include <QImageReader>
#include <QSettings>

#include <gtest/gtest.h>

using namespace quillmere;
using namespace quillmere::test; // and its string literals

namespace {

// One run of a command-line tool (each comes with scripts/install-deps test): whether it ended
// with status 0, or else what it said.
testing::AssertionResult runTool(const QString& program, const QStringList& arguments,
                                 const QString& destdir = {}) {
    Session session;
    session.environment().insert(u"DESTDIR"_s, destdir);
    const Session::Outcome o = session.run(program, arguments, 120000);
    // A validator may report an error and still end with status 0.
    if (o.exitCode == 0 && !o.out.contains("error:") && !o.err.contains("error:"))
        return testing::AssertionSuccess();
    return testing::AssertionFailure()
           << program.toStdString() << ": " << o.out.toStdString() << o.err.toStdString();
}

class Install : public ::testing::TestWithParam<const char*> {};

// A home of its own, its autostart folder not made yet and its data folder there, for the
// program that is running.
struct LoginFixture : ::testing::Test {
    TempDataDir home;
    const QString entryName = u"autostart/"_s + applicationId + u".desktop";
    const QString entry = home.file(entryName);
    LoginFixture() { QDir().mkpath(home.file(u"data"_s)); }

    StartAtLogin login() const {
        return {home.file(u"autostart"_s), home.file(u"data"_s),
                QCoreApplication::applicationFilePath()};
    }
    void writeEntry(const QByteArray& text) const {
        QDir().mkpath(home.file(u"autostart"_s));
        home.write(entryName, text);
    }
};

} // namespace

// Everything lands under DESTDIR and the prefix, the program runnable and each icon the size
// its folder promises; nothing escapes to an absolute path, and no test program comes along.
// The desktop's own validators accept the entry and the AppStream data, and both name the
// application id the program gives itself, which is also the icons' name.
TEST_P(Install, PutsExactlyTheProgramAndItsDesktopFilesUnderThePrefixForTheValidators) {
    TempDataDir destdir;
    ASSERT_TRUE(runTool(QStringLiteral(QUILLMERE_CMAKE),
                        {u"--install"_s, QStringLiteral(QUILLMERE_BUILD_DIR), u"--prefix"_s,
                         QString::fromLatin1(GetParam())},
                        destdir.path()));
    const QDir root(destdir.path() + QString::fromLatin1(GetParam()));

    const QString icons = u"share/icons/hicolor/"_s;
    // %1 is the application id, %2 the icon theme's folder.
    QStringList expected =
        u"bin/quillmere share/applications/%1.desktop share/metainfo/%1.metainfo.xml "
        "share/doc/quillmere/copyright share/doc/quillmere/changelog.gz "
        "share/man/man1/quillmere.1.gz %2scalable/apps/%1.svg %2symbolic/apps/%1-symbolic.svg "
        "%2symbolic/apps/%1-deep-symbolic.svg "
        "%2symbolic/apps/%1-shallow-symbolic.svg"_s.split(u' ');
    for (int size : {16, 22, 24, 32, 48, 64, 128, 256}) {
        const QString png = icons + u"%1x%1/apps/"_s.arg(size) + applicationId + u".png";
        expected << png;
        EXPECT_EQ(QImageReader(root.filePath(png)).size(), QSize(size, size)) << png.toStdString();
    }
    expected.replaceInStrings(u"%1"_s, applicationId).replaceInStrings(u"%2"_s, icons);
    QStringList found;
    for (QDirIterator it(destdir.path(), QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
         it.hasNext();)
        found << root.relativeFilePath(it.next());
    expected.sort();
    found.sort();
    EXPECT_EQ(found, expected);
    EXPECT_TRUE(QFileInfo(root.filePath(u"bin/quillmere"_s)).isExecutable());

    const QString desktop = root.filePath(u"share/applications/" + applicationId + u".desktop");
    const QString metainfo = root.filePath(u"share/metainfo/" + applicationId + u".metainfo.xml");
    EXPECT_TRUE(runTool(u"desktop-file-validate"_s, {desktop}));
    EXPECT_TRUE(runTool(u"appstreamcli"_s, {u"validate"_s, u"--no-net"_s, metainfo}));
    EXPECT_EQ(QSettings(desktop, QSettings::IniFormat).value(u"Desktop Entry/Icon"_s),
              applicationId);
    QFile component(metainfo);
    ASSERT_TRUE(component.open(QIODevice::ReadOnly));
    const QString xml = QString::fromUtf8(component.readAll());
    EXPECT_TRUE(xml.contains(u"<id>" + applicationId + u"</id>"));
    EXPECT_TRUE(xml.contains(u"\">" + applicationId + u".desktop</launchable>"));
}

INSTANTIATE_TEST_SUITE_P(Prefixes, Install, ::testing::Values("/usr", "/opt/quillmere"),
                         [](const auto& info) {
                             return std::string(info.index == 0 ? "usr" : "opt");
                         });

// A folder that cannot be written leaves the entry as it was and keeps the choice open for the
// next start (what the menu then says is checked with the panel's options). Once it can, the
// first start makes the missing folder and writes the entry (that it starts this very program
// is checked on the real binary); from then on the user's choice stands, whether made by hand
// or with the toggle.
TEST_F(LoginFixture, TheFirstStartWritesTheEntryOnceThenTheUsersChoiceStands) {
    home.write(u"autostart"_s, "not a folder"); // fails even for root
    login().applyFirstStart();
    EXPECT_FALSE(QFile::exists(login().markerPath()));
    QFile::remove(home.file(u"autostart"_s));

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

    // An entry of our name that someone else wrote survives the first start byte for byte; the
    // menu shows whether the session will start it, and only the toggle replaces it.
    for (const auto& [text, on] : std::initializer_list<std::pair<QByteArray, bool>>{
             {"[Desktop Entry]\nType=Application\nExec=/usr/local/bin/other\n", true},
             {"[Desktop Entry]\nHidden=true\n", false},
             {"[Desktop Entry]\nHidden = true\n", false},
             {"[Desktop Entry]\nX-GNOME-Autostart-enabled=false\n", false},
             {"[Desktop Entry]\nHidden=false\n[Desktop Action quiet]\nHidden=true\n", true},
         }) {
        SCOPED_TRACE(text.toStdString());
        QFile::remove(login().markerPath());
        writeEntry(text);
        login().applyFirstStart();
        EXPECT_EQ(home.read(entryName), text);
        EXPECT_EQ(login().isOn(), on);
        EXPECT_EQ(login().setOn(!on), QString());
        EXPECT_EQ(std::pair(login().isOn(), QFile::exists(entry)), std::pair(!on, !on));
    }

    // Without a data folder to remember the choice in, the entry is not removed either: a
    // later start would otherwise bring it back.
    writeEntry("[Desktop Entry]\nExec=quillmere\n");
    QDir(home.file(u"data"_s)).removeRecursively();
    home.write(u"data"_s, "not a folder");
    EXPECT_FALSE(login().setOn(false).isEmpty());
    EXPECT_TRUE(login().isOn());
}

// The running program's path becomes one Exec argument however odd it is, and the validator
// agrees with every spelling.
TEST_F(LoginFixture, AnyProgramPathBecomesOneValidExecArgument) {
    for (const auto& [program, exec] : std::initializer_list<std::pair<QString, QString>>{
             {u"/usr/bin/quillmere"_s, u"/usr/bin/quillmere"_s},
             {u"/opt/100%/quillmere"_s, u"/opt/100%%/quillmere"_s},
             {u"/home/a b/quillmere"_s, uR"("/home/a b/quillmere")"_s},
             {u"/home/it's/quillmere"_s, uR"("/home/it's/quillmere")"_s},
             {uR"(/tmp/$x"y`/quillmere)"_s, uR"("/tmp/\\$x\\"y\\`/quillmere")"_s},
             {uR"(/tmp/a\b/quillmere)"_s, uR"("/tmp/a\\\\b/quillmere")"_s},
         }) {
        SCOPED_TRACE(program.toStdString());
        EXPECT_EQ(StartAtLogin::execArgument(program), exec);
        writeEntry(StartAtLogin::entryText(program));
        EXPECT_TRUE(runTool(u"desktop-file-validate"_s, {entry}));
    }
}
