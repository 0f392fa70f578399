// The do-not-disturb controller against servers on a private bus: a stand-in of Plasma's
// notification server answering Inhibit/UnInhibit, and GNOME's real schema in
// GSettings' memory backend behind a stand-in shell. Each is switched the way its user would.

#include "desktop/QuietDesktop.h"

#include "support/NotificationSession.h"
#include "support/TempDataDir.h"

#include <QDBusConnection>
#include <QDBusContext>
#include <QDBusVariant>
#include <QThread>
#include <QVariantMap>

#include <gio/gio.h>
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <mutex>
#include <set>

using namespace quillmere;
using namespace Qt::StringLiterals;

namespace {

// The standard notification service as far as the controller uses it. It runs in a thread of
// its own, as a server in another process would, so that the controller's blocking calls get
// their answers. Plasma holds banners back while any inhibition is held.
class StandInServer final : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")
    Q_PROPERTY(bool Inhibited READ inhibited)

public:
    explicit StandInServer(QString name) : m_name(std::move(name)) {}

    bool inhibited() const {
        std::lock_guard lock(m_mutex);
        return m_userOn || !m_cookies.empty();
    }
    // The user's own switch; switching off clears every inhibition, as the applet does.
    void setUserOn(bool on) {
        std::lock_guard lock(m_mutex);
        m_userOn = on;
        if (!on)
            m_cookies.clear();
    }

public Q_SLOTS:
    QString GetServerInformation(QString& vendor, QString& version, QString& specVersion) {
        vendor = u"Stand-in"_s;
        version = u"1"_s;
        specVersion = u"1.2"_s;
        return m_name;
    }
    uint Inhibit(const QString&, const QString&, const QVariantMap&) {
        std::lock_guard lock(m_mutex);
        m_cookies.insert(++m_lastCookie);
        return m_lastCookie;
    }
    void UnInhibit(uint cookie) {
        std::lock_guard lock(m_mutex);
        m_cookies.erase(cookie);
    }

private:
    QString m_name;
    mutable std::mutex m_mutex;
    bool m_userOn = false;
    std::set<uint> m_cookies;
    uint m_lastCookie = 0;
};

// The switches of the servers that keep do-not-disturb on an interface of their own, as those
// interfaces are documented. Each lives beside a StandInServer in the same thread.
class SwitchStandIn : public QObject {
public:
    std::atomic<bool> on = false;
};

class SwayncStandIn final : public SwitchStandIn {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.erikreider.swaync.cc")
public Q_SLOTS:
    bool GetDnd() { return on; }
    void SetDnd(bool value) { on = value; }
};

// mako keeps a list of active modes; do-not-disturb is one of them, beside the user's own.
class MakoStandIn final : public SwitchStandIn {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "fr.emersion.Mako")
public:
    QStringList modes() {
        std::lock_guard lock(m_mutex);
        return m_modes;
    }
public Q_SLOTS:
    QStringList ListModes() { return modes(); }
    void SetModes(const QStringList& modes) {
        std::lock_guard lock(m_mutex);
        m_modes = modes;
        on = m_modes.contains(u"do-not-disturb"_s);
    }

private:
    std::mutex m_mutex;
    QStringList m_modes{u"default"_s, u"work"_s};
};

class XfconfStandIn final : public SwitchStandIn, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.xfce.Xfconf")
public Q_SLOTS:
    QDBusVariant GetProperty(const QString& channel, const QString& property) {
        if (!ours(channel, property))
            sendErrorReply(u"org.xfce.Xfconf.Error.PropertyNotFound"_s, property);
        return QDBusVariant(bool(on));
    }
    bool PropertyExists(const QString& channel, const QString& property) {
        return ours(channel, property);
    }
    void SetProperty(const QString& channel, const QString& property, const QDBusVariant& value) {
        if (channel == u"xfce4-notifyd" && property == u"/do-not-disturb")
            on = value.variant().toBool();
    }

private:
    static bool ours(const QString& channel, const QString& property) {
        return channel == u"xfce4-notifyd" && property == u"/do-not-disturb";
    }
};

// One server, with what its user sees and does.
struct Desktop {
    std::function<bool()> isOn;
    std::function<void(bool)> userSets;
};

// A private bus, and on it, when asked, a stand-in server in a thread of its own.
class DoNotDisturbBus : public ::testing::Test {
protected:
    void SetUp() override {
        // Before GSettings is first used in this process.
        qputenv("GSETTINGS_BACKEND", "memory");
        ASSERT_NO_FATAL_FAILURE(m_session.start(false));
        m_bus =
            QDBusConnection::connectToBus(QString::fromLatin1(m_session.address()), u"dnd-test"_s);
        ASSERT_TRUE(m_bus.isConnected());
    }
    void TearDown() override {
        if (m_gnome)
            g_object_unref(m_gnome);
        if (m_standIn) {
            m_serverBus.unregisterObject(u"/org/freedesktop/Notifications"_s);
            QDBusConnection::disconnectFromBus(u"dnd-test-server"_s);
            m_thread.quit();
            m_thread.wait();
            delete m_standIn;
            m_switch.reset();
        }
        QDBusConnection::disconnectFromBus(u"dnd-test"_s);
    }

    void startStandIn(const QString& name) {
        m_serverBus = QDBusConnection::connectToBus(QString::fromLatin1(m_session.address()),
                                                    u"dnd-test-server"_s);
        m_standIn = new StandInServer(name);
        m_standIn->moveToThread(&m_thread);
        m_thread.start();
        ASSERT_TRUE(m_serverBus.registerObject(u"/org/freedesktop/Notifications"_s, m_standIn,
                                               QDBusConnection::ExportAllSlots |
                                                   QDBusConnection::ExportAllProperties));
        ASSERT_TRUE(m_serverBus.registerService(u"org.freedesktop.Notifications"_s));
    }

    bool recorded() const { return m_folder.exists(QString(QuietDesktop::recordName)); }

    test::NotificationSession m_session;
    test::TempDataDir m_folder;
    QDBusConnection m_bus{u"none"_s};
    QDBusConnection m_serverBus{u"none"_s};
    QThread m_thread;
    StandInServer* m_standIn = nullptr;
    std::unique_ptr<SwitchStandIn> m_switch;
    GSettings* m_gnome = nullptr;
    Desktop m_desktop;
};

// Each server switched the way its user would. dunst's own switch is met end to end, with the
// real program, in focus_aids_e2e_tests.
class DoNotDisturbTest : public DoNotDisturbBus, public ::testing::WithParamInterface<const char*> {
protected:
    void SetUp() override {
        ASSERT_NO_FATAL_FAILURE(DoNotDisturbBus::SetUp());
        const QString server = QString::fromLatin1(GetParam());
        startStandIn(server);
        const auto withSwitch = [&](SwitchStandIn* standIn, const QString& service,
                                    const QString& path) {
            m_switch.reset(standIn);
            m_switch->moveToThread(&m_thread);
            ASSERT_TRUE(
                m_serverBus.registerObject(path, m_switch.get(), QDBusConnection::ExportAllSlots));
            if (!service.isEmpty()) {
                ASSERT_TRUE(m_serverBus.registerService(service));
            }
            m_desktop = {[this] { return m_switch->on.load(); },
                         [this](bool on) {
                             // mako's user switches by mode, keeping the others.
                             if (auto* mako = dynamic_cast<MakoStandIn*>(m_switch.get())) {
                                 QStringList modes = mako->modes();
                                 modes.removeAll(u"do-not-disturb"_s);
                                 mako->SetModes(on ? modes << u"do-not-disturb"_s : modes);
                             } else {
                                 m_switch->on = on;
                             }
                         }};
        };
        if (server == u"SwayNotificationCenter")
            return withSwitch(new SwayncStandIn, u"org.erikreider.swaync.cc"_s,
                              u"/org/erikreider/swaync/cc"_s);
        if (server == u"mako")
            return withSwitch(new MakoStandIn, {}, u"/fr/emersion/Mako"_s);
        if (server == u"Xfce Notify Daemon")
            return withSwitch(new XfconfStandIn, u"org.xfce.Xfconf"_s, u"/org/xfce/Xfconf"_s);
        if (server == u"Plasma") {
            m_desktop = {[this] { return m_standIn->inhibited(); },
                         [this](bool on) { m_standIn->setUserOn(on); }};
            return;
        }
        m_gnome = g_settings_new("org.gnome.desktop.notifications");
        m_desktop = {[this] { return !g_settings_get_boolean(m_gnome, "show-banners"); },
                     [this](bool on) { g_settings_set_boolean(m_gnome, "show-banners", !on); }};
    }
};

} // namespace

TEST_P(DoNotDisturbTest, OnForDeepWorkThenAsTheUserHadIt) {
    struct Case {
        const char* name;
        bool userBefore;
        std::optional<bool> userDuring; // what the user switches to while the block runs
        bool after;
    };
    const Case cases[] = {
        {"off before", false, std::nullopt, false},
        {"the user's own, kept", true, std::nullopt, true},
        {"switched off during the block, not fought", false, false, false},
        {"the user's own, switched off during the block", true, false, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        m_desktop.userSets(c.userBefore);
        QuietDesktop quiet(m_folder.path(), m_bus);
        quiet.silence();
        EXPECT_TRUE(m_desktop.isOn());
        EXPECT_TRUE(quiet.isSilenced());
        EXPECT_EQ(recorded(), !c.userBefore) << "a change must be recorded, and only a change";
        if (c.userDuring) {
            m_desktop.userSets(*c.userDuring);
            quiet.silence(); // the next refresh
            EXPECT_EQ(m_desktop.isOn(), *c.userDuring);
        }
        quiet.restore();
        EXPECT_EQ(m_desktop.isOn(), c.after);
        EXPECT_FALSE(recorded());
        if (auto* mako = dynamic_cast<MakoStandIn*>(m_switch.get())) {
            EXPECT_TRUE(mako->modes().mid(0, 2) == (QStringList{u"default"_s, u"work"_s}))
                << "the user's own modes were not kept";
        }
    }
}

// A run that never put the desktop back leaves its record; the next start repairs from it. A
// record that names nothing we know is dropped without touching the desktop.
TEST_P(DoNotDisturbTest, TheNextStartRepairsWhatALostRunLeft) {
    m_desktop.userSets(false);
    QByteArray record;
    {
        QuietDesktop lost(m_folder.path(), m_bus);
        lost.silence();
        record = m_folder.read(QString(QuietDesktop::recordName)).value_or(QByteArray());
    }
    ASSERT_FALSE(record.isEmpty());
    // As the lost run left it. Plasma drops an inhibition with the connection that held it, so
    // there the record has nothing left to undo.
    const bool dropsWithConnection = QString::fromLatin1(GetParam()) == u"Plasma";
    if (!dropsWithConnection)
        m_desktop.userSets(true);
    m_folder.write(QString(QuietDesktop::recordName), record);
    { QuietDesktop next(m_folder.path(), m_bus); }
    EXPECT_FALSE(m_desktop.isOn());
    EXPECT_FALSE(recorded());

    for (const QByteArray& junk :
         {QByteArray("{\"server\": \"elsewhere\"}"), QByteArray("\x01{")}) {
        m_desktop.userSets(true);
        m_folder.write(QString(QuietDesktop::recordName), junk);
        { QuietDesktop next(m_folder.path(), m_bus); }
        EXPECT_TRUE(m_desktop.isOn()) << junk.constData();
        EXPECT_FALSE(recorded());
    }
}

INSTANTIATE_TEST_SUITE_P(Servers, DoNotDisturbTest,
                         ::testing::Values("Plasma", "gnome-shell", "Xfce Notify Daemon", "mako",
                                           "SwayNotificationCenter"),
                         [](const auto& info) {
                             const std::string name = info.param;
                             return name.substr(0, name.find_first_of(" -"));
                         });

// Without a server nothing changes and the toggle says why; a server that starts later (at
// login, after us) is silenced on the next refresh of the same block.
TEST_F(DoNotDisturbBus, WithoutANotificationServerNothingChangesUntilOneStarts) {
    QuietDesktop quiet(m_folder.path(), m_bus);
    quiet.silence();
    EXPECT_FALSE(quiet.isSilenced());
    EXPECT_FALSE(recorded());
    EXPECT_EQ(doNotDisturbProblemText(m_bus),
              u"This desktop offers no way to silence notifications."_s);

    ASSERT_NO_FATAL_FAILURE(startStandIn(u"Plasma"_s));
    quiet.silence();
    EXPECT_TRUE(m_standIn->inhibited());
    EXPECT_EQ(doNotDisturbProblemText(m_bus), QString());
    quiet.restore();
    EXPECT_FALSE(m_standIn->inhibited());
}

#include "DoNotDisturbTest.moc"
