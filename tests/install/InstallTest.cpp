#include "desktop/ApplicationId.h"

#include "ValidatorRun.h"
#include "support/TempDataDir.h"

#include <QDirIterator>
#include <QFileInfo>
#include <QImageReader>
#include <QProcessEnvironment>

#include <gtest/gtest.h>

using namespace quillmere;
using namespace quillmere::test;

namespace {

class Install : public ::testing::TestWithParam<const char*> {};

QString textOf(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? QString::fromUtf8(f.readAll()) : QString();
}

} // namespace

// Everything lands under DESTDIR and the prefix, the program runnable and each icon the size
// its folder promises; nothing escapes to an absolute path, and no test program comes along.
// The desktop's own validators accept the entry and the AppStream data, and both name the
// application id the program gives itself, which is also the icons' name.
TEST_P(Install, PutsExactlyTheProgramAndItsDesktopFilesUnderThePrefixForTheValidators) {
    TempDataDir destdir;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("DESTDIR"), destdir.path());
    const ToolRun install =
        runTool(QStringLiteral(QUILLMERE_CMAKE),
                {QStringLiteral("--install"), QStringLiteral(QUILLMERE_BUILD_DIR),
                 QStringLiteral("--prefix"), QString::fromLatin1(GetParam())},
                env);
    ASSERT_TRUE(install.ok) << install.output.toStdString();
    const QDir root(destdir.path() + QString::fromLatin1(GetParam()));

    const QString icons = QStringLiteral("share/icons/hicolor/");
    QStringList expected = {
        QStringLiteral("bin/quillmere"),
        QStringLiteral("share/applications/%1.desktop"),
        QStringLiteral("share/metainfo/%1.metainfo.xml"),
        icons + QStringLiteral("scalable/apps/%1.svg"),
        icons + QStringLiteral("symbolic/apps/%1-symbolic.svg"),
        icons + QStringLiteral("symbolic/apps/%1-deep-symbolic.svg"),
        icons + QStringLiteral("symbolic/apps/%1-shallow-symbolic.svg"),
        QStringLiteral("share/doc/quillmere/copyright"),
        QStringLiteral("share/doc/quillmere/changelog.gz"),
        QStringLiteral("share/man/man1/quillmere.1.gz"),
    };
    for (int size : {16, 22, 24, 32, 48, 64, 128, 256}) {
        const QString png =
            icons + QStringLiteral("%1x%1/apps/").arg(size) + applicationId + u".png";
        expected << png;
        EXPECT_EQ(QImageReader(root.filePath(png)).size(), QSize(size, size)) << png.toStdString();
    }
    for (QString& file : expected)
        file = file.replace(QStringLiteral("%1"), applicationId);
    QStringList found;
    for (QDirIterator it(destdir.path(), QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
         it.hasNext();)
        found << root.relativeFilePath(it.next());
    expected.sort();
    found.sort();
    EXPECT_EQ(found, expected);
    EXPECT_TRUE(QFileInfo(root.filePath(QStringLiteral("bin/quillmere"))).isExecutable());

    const QString desktop = root.filePath(u"share/applications/" + applicationId + u".desktop");
    const QString metainfo = root.filePath(u"share/metainfo/" + applicationId + u".metainfo.xml");
    for (const ToolRun& run :
         {runTool(QStringLiteral("desktop-file-validate"), {desktop}),
          runTool(QStringLiteral("appstreamcli"),
                  {QStringLiteral("validate"), QStringLiteral("--no-net"), metainfo})}) {
        EXPECT_TRUE(run.ok) << run.output.toStdString();
        EXPECT_FALSE(run.output.contains(QStringLiteral("error:"))) << run.output.toStdString();
    }
    EXPECT_TRUE(textOf(desktop).contains(QStringLiteral("\nIcon=") + applicationId + u'\n'));
    const QString component = textOf(metainfo);
    EXPECT_TRUE(component.contains(u"<id>" + applicationId + u"</id>"));
    EXPECT_TRUE(component.contains(u"\">" + applicationId + u".desktop</launchable>"));
}

INSTANTIATE_TEST_SUITE_P(Prefixes, Install, ::testing::Values("/usr", "/opt/quillmere"),
                         [](const auto& info) {
                             return std::string(info.index == 0 ? "usr" : "opt");
                         });
