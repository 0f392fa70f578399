// The real program on a headless X server with a private session bus on which this test plays
// the desktop's tray host (the StatusNotifierWatcher). It checks what a desktop would see: the
// program waits for a host that appears late, registers one tray item whose picture and
// tooltip follow the running block, and opens its panel when the item is activated.

#include "model/JsonCodec.h"

#include "support/FakeTimeProgram.h"
#include "support/FakeTrayHost.h"
#include "support/NotificationSession.h"
#include "support/TempDataDir.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QDir>
#include <QImage>
#include <QProcess>
#include <QTest>

#include <gtest/gtest.h>

#include <xcb/xcb.h>

using namespace quillmere;

namespace {

const QString itemInterface = QStringLiteral("org.kde.StatusNotifierItem");

// Mapped top-level windows of the X server, as (width, height).
QList<QSize> mappedWindows(const QString& display) {
    QList<QSize> sizes;
    xcb_connection_t* c = xcb_connect(display.toLocal8Bit().constData(), nullptr);
    if (xcb_connection_has_error(c)) {
        xcb_disconnect(c);
        return sizes;
    }
    const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(c)).data;
    xcb_query_tree_reply_t* tree =
        xcb_query_tree_reply(c, xcb_query_tree(c, screen->root), nullptr);
    if (tree) {
        xcb_window_t* children = xcb_query_tree_children(tree);
        for (int i = 0; i < xcb_query_tree_children_length(tree); ++i) {
            auto* attrs = xcb_get_window_attributes_reply(
                c, xcb_get_window_attributes(c, children[i]), nullptr);
            auto* geo = xcb_get_geometry_reply(c, xcb_get_geometry(c, children[i]), nullptr);
            if (attrs && geo && attrs->map_state == XCB_MAP_STATE_VIEWABLE)
                sizes << QSize(geo->width, geo->height);
            free(attrs);
            free(geo);
        }
        free(tree);
    }
    xcb_disconnect(c);
    return sizes;
}

QVariant itemProperty(QDBusConnection& bus, const QString& service, const QString& name) {
    QDBusMessage get = QDBusMessage::createMethodCall(
        service, QStringLiteral("/StatusNotifierItem"),
        QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
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

TEST(QuillmereTray, WaitsForALateHostThenShowsTheRunningBlockAndOpensThePanel) {
    test::NotificationSession session;
    ASSERT_NO_FATAL_FAILURE(session.start(false));
    const QString address = QString::fromLatin1(session.address());
    const QString display = session.environment().value(QStringLiteral("DISPLAY"));
    const auto panelShown = [&] { return mappedWindows(display).contains(QSize(340, 560)); };

    test::TempDataDir home;
    ASSERT_TRUE(QDir().mkpath(home.file(QStringLiteral("data/Quillmere"))));
    const WorkBlock inbox{QUuid::createUuid(),
                          QStringLiteral("Inbox"),
                          QStringLiteral("2024-03-04"),
                          600,
                          60,
                          WorkKind::shallow,
                          {},
                          {}};
    home.write(QStringLiteral("data/Quillmere/blocks.json"),
               json::encodeList(std::vector<WorkBlock>{inbox}));
    // The idle symbol installed, as a package puts it: a host finds the outline by name.
    ASSERT_TRUE(QDir().mkpath(home.file(QStringLiteral("data/icons/hicolor/symbolic/apps"))));
    home.write(
        QStringLiteral("data/icons/hicolor/symbolic/apps/org.quillmere.Quillmere-symbolic.svg"),
        "<svg xmlns=\"http://www.w3.org/2000/svg\"/>");

    QProcessEnvironment env = session.environment();
    env.remove(QStringLiteral("QT_QPA_PLATFORM"));
    env.insert(QStringLiteral("XDG_DATA_HOME"), home.file(QStringLiteral("data")));
    env.insert(QStringLiteral("TZ"), QStringLiteral("Europe/Berlin"));
    env.insert(QStringLiteral("SDL_AUDIODRIVER"), QStringLiteral("dummy"));
    test::FakeTimeProgram program;
    ASSERT_TRUE(program.start(env, QStringLiteral(QUILLMERE_BINARY),
                              QStringLiteral("@2024-03-04 10:30:00")));

    // The host comes up a moment after the program, as at a login.
    QTest::qWait(1500);
    ASSERT_EQ(program.process().state(), QProcess::Running);
    EXPECT_FALSE(panelShown());
    QDBusConnection host = QDBusConnection::connectToBus(address, QStringLiteral("tray-host"));
    ASSERT_TRUE(host.isConnected());
    test::FakeWatcher watcher;
    ASSERT_TRUE(watcher.publish(host));

    ASSERT_TRUE(QTest::qWaitFor([&] { return !watcher.items().isEmpty(); }, 60000));
    EXPECT_EQ(watcher.items().size(), 1);
    const QString item = watcher.items().first();

    // The picture is the blue bar of shallow work, the tooltip the block's title. The bar has
    // no name, so a host that tints named symbols shows it in its own colour.
    EXPECT_EQ(itemProperty(host, item, QStringLiteral("IconName")).toString(), QString());
    const QImage icon = largestPixmap(
        itemProperty(host, item, QStringLiteral("IconPixmap")).value<QDBusArgument>());
    ASSERT_FALSE(icon.isNull());
    EXPECT_EQ(icon.pixelColor(icon.width() / 2, icon.height() / 2).rgb(),
              QColor::fromRgbF(0.12f, 0.45f, 0.90f).rgb());
    EXPECT_EQ(qAlpha(icon.pixel(icon.width() / 2, 1)), 0);
    EXPECT_EQ(toolTipTitle(itemProperty(host, item, QStringLiteral("ToolTip"))),
              QStringLiteral("Inbox"));
    EXPECT_FALSE(panelShown());

    // A click on the item opens the panel.
    QDBusMessage activate = QDBusMessage::createMethodCall(
        item, QStringLiteral("/StatusNotifierItem"), itemInterface, QStringLiteral("Activate"));
    activate.setArguments({100, 10});
    host.call(activate, QDBus::Block, 30000);
    EXPECT_TRUE(QTest::qWaitFor(panelShown, 30000));
    // Another click, later than the one that would have closed the popup anyway, closes it.
    QTest::qWait(500);
    host.call(activate, QDBus::Block, 30000);
    EXPECT_TRUE(QTest::qWaitFor([&] { return !panelShown(); }, 30000));
    EXPECT_EQ(program.process().state(), QProcess::Running);
}
