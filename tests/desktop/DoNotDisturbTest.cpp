// The do-not-disturb controller against servers on a private bus: a stand-in notification
// server that keeps its switch where that server does (Plasma's inhibitions, or an interface of
// the server's own), and GNOME's real schema in GSettings' memory backend behind a stand-in
// shell. Each is switched the way its user would.

#include "desktop/QuietDesktop.h"

#include "support/NotificationSession.h"
#include "support/TempDataDir.h"

#include <QDBusConnection>
#include <QDBusError>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QDBusVirtualObject>
#include <QThread>

#include <gio/gio.h>

#include <cstring>
#include <mutex>
#include <set>

using namespace quillmere;
using namespace Qt::StringLiterals;

namespace {

// A notification server named `name` as far as the controller uses it, its calls answered as the
// servers' interfaces are documented. Plasma holds banners back while any inhibition is held,
// and its user's switching off clears them all, as the applet does; SwayNotificationCenter,
// mako (by a mode among the user's own) and Xfce (in xfconf) keep a switch of their own; GNOME
// keeps it in its own schema (in GSettings' memory backend here): banners off. It runs in a
// thread of its own, as a server in another process would, so that the controller's blocking
// calls get their answers.
class StandIn final : public QDBusVirtualObject {
public:
    explicit StandIn(const QString& name)
        : m_name(name), m_plasma(name == u"Plasma"),
          m_gnome(name == u"gnome-shell" ? g_settings_new("org.gnome.desktop.notifications")
                                         : nullptr) {}
    ~StandIn() override {
        if (m_gnome)
            g_object_unref(m_gnome);
    }

    // The desktop's do-not-disturb as its user sees and switches it.
    bool isOn() {
        if (m_gnome)
            return !g_settings_get_boolean(m_gnome, "show-banners");
        std::lock_guard lock(m_mutex);
        return m_on || (m_plasma && !m_cookies.empty());
    }
    void userSets(bool on) {
        if (m_gnome)
            g_settings_set_boolean(m_gnome, "show-banners", !on); // the rest is not read
        std::lock_guard lock(m_mutex);
        m_on = on;
        if (m_plasma && !on)
            m_cookies.clear();
    }
    QStringList modes() {
        std::lock_guard lock(m_mutex);
        return m_modes;
    }

    QString introspect(const QString&) const override { return {}; }
    bool handleMessage(const QDBusMessage& call, const QDBusConnection& bus) override {
        std::lock_guard lock(m_mutex);
        const QVariantList in = call.arguments();
        const QString method = call.interface() + u'.' + call.member();
        const bool xfconfKey =
            in.value(0) == u"xfce4-notifyd"_s && in.value(1) == u"/do-not-disturb"_s;
        const QString dnd = u"do-not-disturb"_s;
        QVariantList out;
        if (method == u"org.freedesktop.Notifications.GetServerInformation")
            out = {m_name, u"Stand-in"_s, u"1"_s, u"1.2"_s};
        else if (method == u"org.freedesktop.Notifications.Inhibit")
            out = {*m_cookies.insert(++m_lastCookie).first};
        else if (method == u"org.freedesktop.Notifications.UnInhibit")
            m_cookies.erase(in.value(0).toUInt());
        else if (method == u"org.freedesktop.DBus.Properties.Get" && in.value(1) == u"Inhibited"_s)
            out = {QVariant::fromValue(QDBusVariant((m_plasma && m_on) || !m_cookies.empty()))};
        else if (method == u"org.erikreider.swaync.cc.GetDnd")
            out = {m_on};
        else if (method == u"org.erikreider.swaync.cc.SetDnd")
            m_on = in.value(0).toBool();
        else if (method == u"fr.emersion.Mako.ListModes")
            out = {m_on ? m_modes + QStringList{dnd} : m_modes};
        else if (method == u"fr.emersion.Mako.SetModes") {
            m_modes = in.value(0).toStringList();
            m_on = m_modes.removeAll(dnd) > 0;
        } else if (method == u"org.xfce.Xfconf.PropertyExists")
            out = {xfconfKey};
        else if (method == u"org.xfce.Xfconf.GetProperty" && xfconfKey)
            out = {QVariant::fromValue(QDBusVariant(m_on))};
        else if (method == u"org.xfce.Xfconf.SetProperty" && xfconfKey)
            m_on = in.value(2).value<QDBusVariant>().variant().toBool();
        else
            return bus.send(call.createErrorReply(QDBusError::UnknownMethod, method));
        return bus.send(call.createReply(out));
    }

private:
    const QString m_name;
    const bool m_plasma;
    GSettings* const m_gnome;
    std::mutex m_mutex;
    bool m_on = false;
    std::set<uint> m_cookies;
    uint m_lastCookie = 0;
    QStringList m_modes{u"default"_s, u"work"_s}; // mako's user's own, beside do-not-disturb
};

// A private bus, and on it, when asked, a stand-in server in a thread of its own.
class DoNotDisturbBus : public ::testing::Test {
protected:
    void SetUp() override {
        qputenv("GSETTINGS_BACKEND", "memory"); // before GSettings is first used in this process
        ASSERT_NO_FATAL_FAILURE(m_session.start(false));
        ASSERT_TRUE((m_bus = connect(u"dnd-test"_s)).isConnected());
    }
    void TearDown() override {
        QDBusConnection::disconnectFromBus(u"dnd-test-server"_s);
        m_thread.quit();
        m_thread.wait();
        QDBusConnection::disconnectFromBus(u"dnd-test"_s);
    }
    QDBusConnection connect(const QString& name) const {
        return QDBusConnection::connectToBus(QString::fromLatin1(m_session.address()), name);
    }

    void startStandIn(const QString& name) {
        m_serverBus = connect(u"dnd-test-server"_s);
        m_standIn = std::make_unique<StandIn>(name);
        m_standIn->moveToThread(&m_thread);
        m_thread.start();
        ASSERT_NO_FATAL_FAILURE(
            serve(u"org.freedesktop.Notifications"_s, u"/org/freedesktop/Notifications"_s));
    }
    // The stand-in answers at `path`, and under `service` unless that is the notifications'.
    void serve(const QString& service, const QString& path) {
        ASSERT_TRUE(m_serverBus.registerVirtualObject(path, m_standIn.get()));
        ASSERT_TRUE(service.isEmpty() || m_serverBus.registerService(service));
    }

    bool recorded() const { return m_folder.exists(QString(QuietDesktop::recordName)); }

    test::NotificationSession m_session;
    test::TempDataDir m_folder;
    QDBusConnection m_bus{u"none"_s};
    QDBusConnection m_serverBus{u"none"_s};
    QThread m_thread;
    std::unique_ptr<StandIn> m_standIn;
};

// Each server switched the way its user would. dunst's own switch is met end to end, with the
// real program, in focus_aids_e2e_tests.
class DoNotDisturbTest : public DoNotDisturbBus, public ::testing::WithParamInterface<const char*> {
protected:
    void SetUp() override {
        ASSERT_NO_FATAL_FAILURE(DoNotDisturbBus::SetUp());
        const QString server = QString::fromLatin1(GetParam());
        ASSERT_NO_FATAL_FAILURE(startStandIn(server));
        if (server == u"SwayNotificationCenter")
            serve(u"org.erikreider.swaync.cc"_s, u"/org/erikreider/swaync/cc"_s);
        else if (server == u"mako")
            serve({}, u"/fr/emersion/Mako"_s);
        else if (server == u"Xfce Notify Daemon")
            serve(u"org.xfce.Xfconf"_s, u"/org/xfce/Xfconf"_s);
    }
};

} // namespace

// On for deep work, then as the user had it. A run that never put the desktop back leaves its
// record; the next start repairs from it. A record that names nothing we know is dropped without
// touching the desktop.
TEST_P(DoNotDisturbTest, OnForDeepWorkThenAsTheUserHadItAndTheNextStartRepairsALostRun) {
    // The user's switch before, what they switch to while the block runs, and after the block.
    using Case = std::tuple<const char*, bool, std::optional<bool>, bool>;
    const Case cases[] = {
        {"off before", false, std::nullopt, false},
        {"the user's own, kept", true, std::nullopt, true},
        {"switched off during the block, not fought", false, false, false},
        {"the user's own, switched off during the block", true, false, false},
    };
    for (const auto& [name, userBefore, userDuring, after] : cases) {
        SCOPED_TRACE(name);
        m_standIn->userSets(userBefore);
        QuietDesktop quiet(m_folder.path(), m_bus);
        quiet.silence();
        // On, and recorded if it was a change, and only then.
        EXPECT_EQ(std::tuple(m_standIn->isOn(), quiet.isSilenced(), recorded()),
                  std::tuple(true, true, !userBefore));
        if (userDuring) {
            m_standIn->userSets(*userDuring);
            quiet.silence(); // the next refresh
            EXPECT_EQ(m_standIn->isOn(), *userDuring);
        }
        quiet.restore();
        EXPECT_EQ(std::tuple(m_standIn->isOn(), recorded()), std::tuple(after, false));
        EXPECT_EQ(m_standIn->modes(), (QStringList{u"default"_s, u"work"_s}));
    }

    m_standIn->userSets(false);
    const QByteArray record = [&] {
        QuietDesktop lost(m_folder.path(), m_bus);
        lost.silence();
        return m_folder.read(QString(QuietDesktop::recordName)).value_or(QByteArray());
    }();
    ASSERT_FALSE(record.isEmpty());
    // As the lost run left it. Plasma drops an inhibition with the connection that held it, so
    // there the record has nothing left to undo.
    if (QString::fromLatin1(GetParam()) != u"Plasma")
        m_standIn->userSets(true);
    m_folder.write(QString(QuietDesktop::recordName), record);
    { QuietDesktop next(m_folder.path(), m_bus); }
    EXPECT_EQ(std::tuple(m_standIn->isOn(), recorded()), std::tuple(false, false));

    for (const QByteArray& junk :
         {QByteArray("{\"server\": \"elsewhere\"}"), QByteArray("\x01{")}) {
        m_standIn->userSets(true);
        m_folder.write(QString(QuietDesktop::recordName), junk);
        { QuietDesktop next(m_folder.path(), m_bus); }
        EXPECT_EQ(std::tuple(m_standIn->isOn(), recorded()), std::tuple(true, false))
            << junk.constData();
    }
}

INSTANTIATE_TEST_SUITE_P(Servers, DoNotDisturbTest,
                         ::testing::Values("Plasma", "gnome-shell", "Xfce Notify Daemon", "mako",
                                           "SwayNotificationCenter"),
                         [](const auto& info) {
                             return std::string(info.param, std::strcspn(info.param, " -"));
                         });

// Without a server nothing changes and the toggle says why; a server that starts later (at
// login, after us) is silenced on the next refresh of the same block.
TEST_F(DoNotDisturbBus, WithoutANotificationServerNothingChangesUntilOneStarts) {
    QuietDesktop quiet(m_folder.path(), m_bus);
    quiet.silence();
    EXPECT_EQ(std::tuple(quiet.isSilenced(), recorded(), doNotDisturbProblemText(m_bus)),
              std::tuple(false, false, u"This desktop offers no way to silence notifications."_s));

    ASSERT_NO_FATAL_FAILURE(startStandIn(u"Plasma"_s));
    quiet.silence();
    EXPECT_EQ(std::pair(m_standIn->isOn(), doNotDisturbProblemText(m_bus)),
              std::pair(true, QString()));
    quiet.restore();
    EXPECT_FALSE(m_standIn->isOn());
}
