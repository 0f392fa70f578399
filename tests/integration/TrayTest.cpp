// The real program on a headless X server with a private session bus on which this test plays
// the desktop's tray host (the StatusNotifierWatcher). It checks what a desktop would see: the
// program waits for a host that appears late, registers one tray item whose picture and
// tooltip follow the running block, and opens its panel when asked or the item is activated.

#include "EndToEnd.h"

#include "ui/ColorScheme.h"
#include "ui/KindColors.h"

#include "support/FakeTrayHost.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QImage>
#include <QtEndian>

using namespace quillmere;
using namespace quillmere::test; // and its string literals

namespace {

const QString binary = QStringLiteral(QUILLMERE_BINARY);
const QString itemInterface = u"org.kde.StatusNotifierItem"_s;

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
        best = QImage(w, h, QImage::Format_ARGB32);
        qFromBigEndian<quint32>(data.constData(), w * h, best.bits());
    }
    arg.endArray();
    return best;
}

QString toolTipTitle(const QVariant& value) {
    const QDBusArgument arg = value.value<QDBusArgument>();
    QString title;
    arg.beginStructure();
    arg >> title; // the icon's name, then its pictures, before the title
    largestPixmap(arg);
    arg >> title;
    return title;
}

// A desktop whose tray host this test plays, on a session of its own.
struct TrayDesktop {
    test::NotificationSession session;
    QDBusConnection host{u"none"_s};
    test::FakeWatcher watcher;
    test::FakeTimeProgram program;

    // The idle symbol installed, as a package puts it: a host finds the outline by name.
    void installSymbol() const {
        const QString icons = session.path(u"data/icons/hicolor/symbolic/apps"_s);
        QDir().mkpath(icons);
        QFile(icons + u"/org.quillmere.Quillmere-symbolic.svg"_s).open(QIODevice::WriteOnly);
    }
    // The host comes up and takes the watcher's name (on a connection named after this
    // session's folder: a name already used is an old bus's); the first item that registers.
    QString hostUp() {
        host = QDBusConnection::connectToBus(QString::fromLatin1(session.address()),
                                             session.path(u"host"_s));
        EXPECT_TRUE(host.isConnected() && watcher.publish(host));
        EXPECT_TRUE(waitFor([&] { return !watcher.items().isEmpty(); }, 10000));
        return watcher.items().value(0);
    }
    // One of the item's properties, or nothing when it has none.
    QVariant property(const QString& item, const char* name) {
        QDBusMessage get = QDBusMessage::createMethodCall(
            item, u"/StatusNotifierItem"_s, u"org.freedesktop.DBus.Properties"_s, u"Get"_s);
        get.setArguments({itemInterface, QString::fromLatin1(name)});
        const QDBusMessage reply = host.call(get, QDBus::Block, 5000);
        return reply.arguments().value(0).value<QDBusVariant>().variant();
    }
};

} // namespace

TEST(QuillmereTray, ALateHostGetsOneItemWhoseToolTipIsWrittenOnlyWhenItChanges) {
    TrayDesktop desk;
    test::NotificationSession& session = desk.session;
    ASSERT_NO_FATAL_FAILURE(session.start(false));
    const auto panelShown = [&] { return session.shows(u"^Quillmere$"_s); };
    test::writeBlocks(session, {test::block(u"Inbox"_s, 600, 60, WorkKind::shallow),
                                test::block(u"Write"_s, 660, 60)});
    desk.installSymbol();

    // Inbox runs until 11:00, 38 seconds after the start; a heartbeat comes at 10:59:30.
    const QString fakeStart = u"@2024-03-04 10:59:22"_s;
    ASSERT_NO_FATAL_FAILURE(session.startWaitingForATray(desk.program, binary, fakeStart));

    // The host comes up a moment after the program, as at a login: one item registers, and
    // the request that waited opens the panel.
    const QString item = desk.hostUp();
    ASSERT_EQ(desk.watcher.items(), QStringList{item});
    ASSERT_TRUE(desk.watcher.countToolTips(desk.host, item));
    EXPECT_TRUE(waitFor(panelShown, 10000)) << "the second start's request was lost";

    // The picture is the blue bar of shallow work, the tooltip the block's title. The bar has
    // no name, so a host that tints named symbols shows it in its own colour.
    EXPECT_EQ(desk.property(item, "IconName").toString(), QString());
    const QImage icon = largestPixmap(desk.property(item, "IconPixmap").value<QDBusArgument>());
    ASSERT_FALSE(icon.isNull());
    EXPECT_EQ(icon.pixelColor(icon.width() / 2, icon.height() / 2).rgb(),
              QColor::fromRgbF(0.12f, 0.45f, 0.90f).rgb());
    EXPECT_EQ(qAlpha(icon.pixel(icon.width() / 2, 1)), 0);
    const auto toolTip = [&] { return toolTipTitle(desk.property(item, "ToolTip")); };
    EXPECT_EQ(toolTip(), u"Inbox"_s);

    // A click on the item closes the open panel; another, later than the one that would have
    // closed the popup anyway, opens it.
    QDBusMessage activate = QDBusMessage::createMethodCall(item, u"/StatusNotifierItem"_s,
                                                           itemInterface, u"Activate"_s);
    activate.setArguments({100, 10});
    desk.host.call(activate, QDBus::Block, 30000);
    EXPECT_TRUE(waitFor([&] { return !panelShown(); }, 30000));
    QTest::qWait(500);
    desk.host.call(activate, QDBus::Block, 30000);
    EXPECT_TRUE(waitFor(panelShown, 30000));

    // Refreshes that change nothing the tooltip shows (the heartbeat, a block added for later)
    // send it no new tooltip; the block starting at 11:00 sends one.
    session.run(binary, {u"add"_s, u"Later"_s, u"--at"_s, u"15:00"_s});
    ASSERT_TRUE(waitFor([&] { return desk.program.elapsed() > 10000; }, 15000));
    EXPECT_EQ(desk.watcher.toolTipChanges, 0);
    EXPECT_TRUE(waitFor([&] { return toolTip() == u"Write"_s; }, 45000));
    QTest::qWait(1000);
    EXPECT_EQ(desk.watcher.toolTipChanges, 1);
    EXPECT_TRUE(desk.program.running());
}

// With nothing running the tray shows an outline: by its symbolic name where that is
// installed (a host tints it to suit its bar), else drawn in a colour that stands out on the
// desktop's bar: light on GNOME's top bar, dark in both schemes, the palette's text colour
// elsewhere (this program's own palette here, a light one). The kinds' bars stand out on dark
// and light bars alike.
TEST(QuillmereTray, TheIdleOutlineIsNamedOrDrawnToStandOutOnTheBar) {
    const QColor darkBar(0x1d, 0x1d, 0x1d);
    const QColor lightBar(0xf0, 0xf0, 0xf0);
    // The desktop, whether the symbol is installed, and its bar.
    using Case = std::tuple<const char*, bool, QColor>;
    const Case cases[] = {
        {"GNOME", true, {}}, {"GNOME", false, darkBar}, {"XFCE", false, lightBar}};
    for (const auto& [desktop, installed, bar] : cases) {
        SCOPED_TRACE(std::string(desktop) + (installed ? " with the symbol" : ""));
        TrayDesktop desk;
        ASSERT_NO_FATAL_FAILURE(desk.session.start(false));
        if (installed)
            desk.installSymbol();
        QProcessEnvironment env = desk.session.environment();
        env.insert(u"XDG_CURRENT_DESKTOP"_s, QString::fromLatin1(desktop));
        ASSERT_TRUE(desk.program.start(env, binary, u"@2024-03-04 08:00:00"_s));
        const QString item = desk.hostUp();
        const QString name = desk.property(item, "IconName").toString();
        EXPECT_EQ(name, installed ? u"org.quillmere.Quillmere-symbolic"_s : QString());
        if (installed)
            continue;
        const QImage icon = largestPixmap(desk.property(item, "IconPixmap").value<QDBusArgument>());
        ASSERT_FALSE(icon.isNull());
        QColor ink(Qt::transparent);
        for (int x = 0; x < icon.width(); ++x)
            if (icon.pixelColor(x, icon.height() / 2).alpha() > ink.alpha())
                ink = icon.pixelColor(x, icon.height() / 2);
        ink.setAlpha(255);
        EXPECT_GE(ui::contrastRatio(ink, bar), 4.5) << ink.name().toStdString();
    }
    for (const WorkKind kind : allWorkKinds)
        for (const QColor& bar : {darkBar, lightBar})
            EXPECT_GE(ui::contrastRatio(ui::kindColor(kind), bar), 3.0);
}
