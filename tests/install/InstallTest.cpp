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

const QString id = applicationId;
const QList<int> pngSizes = {16, 22, 24, 32, 48, 64, 128, 256};

// Every file an install puts under its prefix, and nothing else.
QStringList expectedFiles() {
    QStringList files = {
        QStringLiteral("bin/quillmere"),
        QStringLiteral("share/applications/") + id + QStringLiteral(".desktop"),
        QStringLiteral("share/metainfo/") + id + QStringLiteral(".metainfo.xml"),
        QStringLiteral("share/icons/hicolor/scalable/apps/") + id + QStringLiteral(".svg"),
        QStringLiteral("share/icons/hicolor/symbolic/apps/") + id + QStringLiteral("-symbolic.svg"),
        QStringLiteral("share/icons/hicolor/symbolic/apps/") + id +
            QStringLiteral("-deep-symbolic.svg"),
        QStringLiteral("share/icons/hicolor/symbolic/apps/") + id +
            QStringLiteral("-shallow-symbolic.svg"),
        QStringLiteral("share/doc/quillmere/copyright"),
        QStringLiteral("share/doc/quillmere/changelog.gz"),
        QStringLiteral("share/man/man1/quillmere.1.gz"),
    };
    for (int size : pngSizes)
        files << QStringLiteral("share/icons/hicolor/%1x%1/apps/").arg(size) + id +
                     QStringLiteral(".png");
    files.sort();
    return files;
}

QStringList filesUnder(const QString& root) {
    QStringList files;
    QDirIterator it(root, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (it.hasNext())
        files << QDir(root).relativeFilePath(it.next());
    files.sort();
    return files;
}

QString textOf(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? QString::fromUtf8(f.readAll()) : QString();
}

class Install : public ::testing::TestWithParam<const char*> {
protected:
    void SetUp() override {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("DESTDIR"), destdir.path());
        const ToolRun run =
            runTool(QStringLiteral(QUILLMERE_CMAKE),
                    {QStringLiteral("--install"), QStringLiteral(QUILLMERE_BUILD_DIR),
                     QStringLiteral("--prefix"), QString::fromLatin1(GetParam())},
                    env);
        ASSERT_TRUE(run.ok) << run.output.toStdString();
    }
    QString root() const { return destdir.path() + QString::fromLatin1(GetParam()); }
    QString file(const QString& relative) const { return root() + u'/' + relative; }

    TempDataDir destdir;
};

} // namespace

// Everything lands under DESTDIR and the prefix, the program runnable and each icon the size
// its folder promises; nothing escapes to an absolute path, and no test program comes along.
TEST_P(Install, PutsExactlyTheProgramAndItsDesktopFilesUnderThePrefix) {
    EXPECT_EQ(filesUnder(destdir.path()), [&] {
        QStringList withPrefix;
        for (const QString& f : expectedFiles())
            withPrefix << QDir(destdir.path()).relativeFilePath(file(f));
        return withPrefix;
    }());
    EXPECT_TRUE(QFileInfo(file(QStringLiteral("bin/quillmere"))).isExecutable());
    for (int size : pngSizes) {
        const QString png = file(QStringLiteral("share/icons/hicolor/%1x%1/apps/").arg(size) + id +
                                 QStringLiteral(".png"));
        EXPECT_EQ(QImageReader(png).size(), QSize(size, size)) << png.toStdString();
    }
}

// The desktop's own validators accept the entry and the AppStream data, and both name the
// application id the program gives itself, which is also the icons' name.
TEST_P(Install, TheValidatorsAcceptWhatIsInstalled) {
    const QString desktop =
        file(QStringLiteral("share/applications/") + id + QStringLiteral(".desktop"));
    const ToolRun entry = runTool(QStringLiteral("desktop-file-validate"), {desktop});
    ASSERT_TRUE(entry.found) << "desktop-file-validate comes with scripts/install-deps test";
    EXPECT_TRUE(entry.ok) << entry.output.toStdString();
    EXPECT_FALSE(entry.output.contains(QStringLiteral("error:"))) << entry.output.toStdString();

    const QString metainfo =
        file(QStringLiteral("share/metainfo/") + id + QStringLiteral(".metainfo.xml"));
    const ToolRun appstream =
        runTool(QStringLiteral("appstreamcli"),
                {QStringLiteral("validate"), QStringLiteral("--no-net"), metainfo});
    ASSERT_TRUE(appstream.found) << "appstreamcli comes with scripts/install-deps test";
    EXPECT_TRUE(appstream.ok) << appstream.output.toStdString();

    EXPECT_TRUE(textOf(desktop).contains(QStringLiteral("\nIcon=") + id + u'\n'));
    const QString component = textOf(metainfo);
    EXPECT_TRUE(component.contains(QStringLiteral("<id>") + id + QStringLiteral("</id>")));
    EXPECT_TRUE(
        component.contains(QStringLiteral("\">") + id + QStringLiteral(".desktop</launchable>")));
}

INSTANTIATE_TEST_SUITE_P(Prefixes, Install, ::testing::Values("/usr", "/opt/quillmere"),
                         [](const auto& info) {
                             return std::string(info.index == 0 ? "usr" : "opt");
                         });
