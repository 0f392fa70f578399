// The real program on a headless X server with a private session bus on which this test plays
// the desktop's tray host (the StatusNotifierWatcher). It checks what a desktop would see: the
// program waits for a host that appears late, registers one tray item whose picture and
// tooltip follow the running block, and opens its panel when asked or the item is activated.

#include "model/JsonCodec.h"
#include "ui/ColorScheme.h"
#include "ui/KindColors.h"

#include "support/FakeTrayHost.h"
#include "support/NotificationSession.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QProcess>
#include <QTest>

#include <gtest/gtest.h>

using namespace quillmere;
using namespace Qt::StringLiterals;

namespace {

const QString itemInterface = u"org.kde.StatusNotifierItem"_s;

QVariant itemProperty(QDBusConnection& bus, const QString& service, const QString& name) {
    QDBusMessage get = QDBusMessage::createMethodCall(
        service, u"/StatusNotifierItem"_s, u"org.freedesktop.DBus.Properties"_s, u"Get"_s);
    get.setArguments({itemInterface, name});
    const QDBusMessage reply = bus.call(get, QDBus::Block, 5000);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty())
        return {};
    return reply.arguments().first().value<QDBusVariant>().variant();
}

// The largest picture of an a(iiay) icon, its pixels in network-order ARGB.
QImage largestPixmap(const QDBusArgument& arg) {
    QImage best;
    arg.beginArray();
    while (!arg.atEnd()) {
        int w = 0;
        int h = 0;
        QByteArray data;
        arg.beginStructure();
        arg >> w >> h >> data;
        arg.endStructure();
        if (w <= best.width() || data.size() < w * h * 4)
            continue;
        QImage img(w, h, QImage::Format_ARGB32);
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) {
                const auto* px = reinterpret_cast<const uchar*>(data.constData()) + (y * w + x) * 4;
                img.setPixel(x, y, qRgba(px[1], px[2], px[3], px[0]));
            }
        best = img;
    }
    arg.endArray();
    return best;
}

QString toolTipTitle(const QVariant& value) {
    const QDBusArgument arg = value.value<QDBusArgument>();
    QString icon;
    QString title;
    arg.beginStructure();
    arg >> icon;
    largestPixmap(arg);
    arg >> title;
    return title;
}

} // namespace

TEST(QuillmereTray, ALateHostGetsOneItemWhoseToolTipIsWrittenOnlyWhenItChanges) {
    test::NotificationSession session;
    ASSERT_NO_FATAL_FAILURE(session.start(false));
    const auto panelShown = [&] { return session.shows(u"^Quillmere$"_s); };
    const auto block = [](const char* title, Minutes start, WorkKind kind) {
        return WorkBlock{QUuid::createUuid(),
                         QString::fromLatin1(title),
                         u"2024-03-04"_s,
                         start,
                         60,
                         kind,
                         {},
                         {}};
    };
    session.writeData(u"blocks.json"_s, json::encodeList(std::vector<WorkBlock>{
                                            block("Inbox", 600, WorkKind::shallow),
                                            block("Write", 660, WorkKind::deep)}));
    // The idle symbol installed, as a package puts it: a host finds the outline by name.
    const QString icons = session.path(u"data/icons/hicolor/symbolic/apps"_s);
    ASSERT_TRUE(QDir().mkpath(icons));
    QFile(icons + u"/org.quillmere.Quillmere-symbolic.svg"_s).open(QIODevice::WriteOnly);

    // Inbox runs until 11:00, 38 seconds after the start; a heartbeat comes at 10:59:30.
    const QString binary = QStringLiteral(QUILLMERE_BINARY);
    const QString fakeStart = u"@2024-03-04 10:59:22"_s;
    test::FakeTimeProgram program;
    ASSERT_TRUE(program.start(session.environment(), binary, fakeStart));
    {
        SCOPED_TRACE("no host yet: the program waits, and so does a second start's request");
        QTest::qWait(1500);
        ASSERT_TRUE(program.running());
        EXPECT_FALSE(panelShown());
        test::FakeTimeProgram second;
        ASSERT_TRUE(second.start(session.environment(), binary, fakeStart));
        ASSERT_TRUE(second.process().waitForFinished(10000));
        EXPECT_EQ(second.process().exitCode(), 0);
        EXPECT_FALSE(panelShown());
    }

    // The host comes up a moment after the program, as at a login: one item registers, and
    // the request that waited opens the panel.
    QDBusConnection host =
        QDBusConnection::connectToBus(QString::fromLatin1(session.address()), u"host"_s);
    ASSERT_TRUE(host.isConnected());
    test::FakeWatcher watcher;
    ASSERT_TRUE(watcher.publish(host));
    ASSERT_TRUE(QTest::qWaitFor([&] { return !watcher.items().isEmpty(); }, 10000));
    EXPECT_EQ(watcher.items().size(), 1);
    const QString item = watcher.items().first();
    ASSERT_TRUE(watcher.countToolTips(host, item));
    EXPECT_TRUE(QTest::qWaitFor(panelShown, 10000)) << "the second start's request was lost";

    // The picture is the blue bar of shallow work, the tooltip the block's title. The bar has
    // no name, so a host that tints named symbols shows it in its own colour.
    EXPECT_EQ(itemProperty(host, item, u"IconName"_s).toString(), QString());
    const QImage icon =
        largestPixmap(itemProperty(host, item, u"IconPixmap"_s).value<QDBusArgument>());
    ASSERT_FALSE(icon.isNull());
    EXPECT_EQ(icon.pixelColor(icon.width() / 2, icon.height() / 2).rgb(),
              QColor::fromRgbF(0.12f, 0.45f, 0.90f).rgb());
    EXPECT_EQ(qAlpha(icon.pixel(icon.width() / 2, 1)), 0);
    const auto toolTip = [&] { return toolTipTitle(itemProperty(host, item, u"ToolTip"_s)); };
    EXPECT_EQ(toolTip(), u"Inbox"_s);

    // A click on the item closes the open panel; another, later than the one that would have
    // closed the popup anyway, opens it.
    QDBusMessage activate = QDBusMessage::createMethodCall(item, u"/StatusNotifierItem"_s,
                                                           itemInterface, u"Activate"_s);
    activate.setArguments({100, 10});
    host.call(activate, QDBus::Block, 30000);
    EXPECT_TRUE(QTest::qWaitFor([&] { return !panelShown(); }, 30000));
    QTest::qWait(500);
    host.call(activate, QDBus::Block, 30000);
    EXPECT_TRUE(QTest::qWaitFor(panelShown, 30000));

    // Refreshes that change nothing the tooltip shows (the heartbeat, a block added for later)
    // send it no new tooltip; the block starting at 11:00 sends one.
    EXPECT_EQ(session.Session::run(binary, {u"add"_s, u"Later"_s, u"--at"_s, u"15:00"_s}).exitCode,
              0);
    ASSERT_TRUE(QTest::qWaitFor([&] { return program.elapsed() > 10000; }, 15000));
    EXPECT_EQ(watcher.toolTipChanges, 0);
    EXPECT_TRUE(QTest::qWaitFor([&] { return toolTip() == u"Write"_s; }, 45000));
    QTest::qWait(1000);
    EXPECT_EQ(watcher.toolTipChanges, 1);
    EXPECT_TRUE(program.running());
}

// With nothing running the tray shows an outline: by its symbolic name where that is
// installed (a host tints it to suit its bar), else drawn in a colour that stands out on the
// desktop's bar: light on GNOME's top bar, dark in both schemes, the palette's text colour
// elsewhere (this program's own palette here, a light one). The kinds' bars stand out on dark
// and light bars alike.
TEST(QuillmereTray, TheIdleOutlineIsNamedOrDrawnToStandOutOnTheBar) {
    const QColor darkBar(0x1d, 0x1d, 0x1d);
    const QColor lightBar(0xf0, 0xf0, 0xf0);
    const struct {
        const char* desktop;
        bool installed;
        QColor bar;
    } cases[] = {{"GNOME", true, {}}, {"GNOME", false, darkBar}, {"XFCE", false, lightBar}};
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.desktop) + (c.installed ? " with the symbol" : ""));
        test::NotificationSession session;
        ASSERT_NO_FATAL_FAILURE(session.start(false));
        if (c.installed) {
            const QString icons = session.path(u"data/icons/hicolor/symbolic/apps"_s);
            ASSERT_TRUE(QDir().mkpath(icons));
            QFile(icons + u"/org.quillmere.Quillmere-symbolic.svg"_s).open(QIODevice::WriteOnly);
        }
        // A connection of its own per session: a name already used is the old bus's.
        QDBusConnection host = QDBusConnection::connectToBus(
            QString::fromLatin1(session.address()),
            u"host-"_s + QString::fromLatin1(c.desktop) + QString::number(c.installed));
        test::FakeWatcher watcher;
        ASSERT_TRUE(watcher.publish(host));
        QProcessEnvironment env = session.environment();
        env.insert(u"XDG_CURRENT_DESKTOP"_s, QString::fromLatin1(c.desktop));
        test::FakeTimeProgram program;
        ASSERT_TRUE(
            program.start(env, QStringLiteral(QUILLMERE_BINARY), u"@2024-03-04 08:00:00"_s));
        ASSERT_TRUE(QTest::qWaitFor([&] { return !watcher.items().isEmpty(); }, 10000));
        const QString item = watcher.items().first();
        const QString name = itemProperty(host, item, u"IconName"_s).toString();
        if (c.installed) {
            EXPECT_EQ(name, u"org.quillmere.Quillmere-symbolic"_s);
            continue;
        }
        EXPECT_EQ(name, QString());
        const QImage icon =
            largestPixmap(itemProperty(host, item, u"IconPixmap"_s).value<QDBusArgument>());
        ASSERT_FALSE(icon.isNull());
        QColor ink(Qt::transparent);
        for (int x = 0; x < icon.width(); ++x)
            if (icon.pixelColor(x, icon.height() / 2).alpha() > ink.alpha())
                ink = icon.pixelColor(x, icon.height() / 2);
        ink.setAlpha(255);
        EXPECT_GE(ui::contrastRatio(ink, c.bar), 4.5) << ink.name().toStdString();
    }
    for (const WorkKind kind : allWorkKinds)
        for (const QColor& bar : {darkBar, lightBar})
            EXPECT_GE(ui::contrastRatio(ui::kindColor(kind), bar), 3.0);
}
