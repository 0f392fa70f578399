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
#include <mutex>
#include <set>

using namespace quillmere;
using namespace Qt::StringLiterals;

namespace {

// A desktop's do-not-disturb as its user sees and switches it; by default a switch of its own
// on an interface the server documents. Those stand-ins live beside a StandInServer in its
// thread.
class UserSwitch : public QObject {
public:
    virtual bool isOn() { return on; }
    virtual void userSets(bool value) { on = value; }
    std::atomic<bool> on = false;
};

// The standard notification service as far as the controller uses it. It runs in a thread of
// its own, as a server in another process would, so that the controller's blocking calls get
// their answers. Plasma holds banners back while any inhibition is held.
class StandInServer final : public UserSwitch {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")
    Q_PROPERTY(bool Inhibited READ isOn)

public:
    explicit StandInServer(QString name) : m_name(std::move(name)) {}

    bool isOn() override {
        std::lock_guard lock(m_mutex);
        return m_userOn || !m_cookies.empty();
    }
    // The user's own switch; switching off clears every inhibition, as the applet does.
    void userSets(bool on) override {
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
    std::mutex m_mutex;
    bool m_userOn = false;
    std::set<uint> m_cookies;
    uint m_lastCookie = 0;
};

class SwayncStandIn final : public UserSwitch {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.erikreider.swaync.cc")
public Q_SLOTS:
    bool GetDnd() { return on; }
    void SetDnd(bool value) { on = value; }
};

// mako keeps a list of active modes; do-not-disturb is one of them, beside the user's own,
// and its user switches it by mode, keeping the others.
class MakoStandIn final : public UserSwitch {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "fr.emersion.Mako")
public:
    void userSets(bool on) override {
        QStringList modes = ListModes();
        modes.removeAll(u"do-not-disturb"_s);
        SetModes(on ? modes << u"do-not-disturb"_s : modes);
    }
public Q_SLOTS:
    QStringList ListModes() {
        std::lock_guard lock(m_mutex);
        return m_modes;
    }
    void SetModes(const QStringList& modes) {
        std::lock_guard lock(m_mutex);
        m_modes = modes;
        on = m_modes.contains(u"do-not-disturb"_s);
    }

private:
    std::mutex m_mutex;
    QStringList m_modes{u"default"_s, u"work"_s};
};

class XfconfStandIn final : public UserSwitch, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.xfce.Xfconf")
public Q_SLOTS:
    QDBusVariant GetProperty(const QString& channel, const QString& property) {
        if (!PropertyExists(channel, property))
            sendErrorReply(u"org.xfce.Xfconf.Error.PropertyNotFound"_s, property);
        return QDBusVariant(bool(on));
    }
    bool PropertyExists(const QString& channel, const QString& property) {
        return channel == u"xfce4-notifyd" && property == u"/do-not-disturb";
    }
    void SetProperty(const QString& channel, const QString& property, const QDBusVariant& value) {
        if (PropertyExists(channel, property))
            on = value.variant().toBool();
    }
};

// GNOME's own schema, in GSettings' memory backend: banners off is do-not-disturb.
class GnomeSettings final : public UserSwitch {
public:
    ~GnomeSettings() override { g_object_unref(m_settings); }
    bool isOn() override { return !g_settings_get_boolean(m_settings, "show-banners"); }
    void userSets(bool on) override { g_settings_set_boolean(m_settings, "show-banners", !on); }

private:
    GSettings* m_settings = g_settings_new("org.gnome.desktop.notifications");
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
        m_standIn = std::make_unique<StandInServer>(name);
        m_thread.start();
        ASSERT_NO_FATAL_FAILURE(serve(m_standIn.get(), u"org.freedesktop.Notifications"_s,
                                      u"/org/freedesktop/Notifications"_s));
    }
    void serve(QObject* object, const QString& service, const QString& path) {
        object->moveToThread(&m_thread);
        ASSERT_TRUE(m_serverBus.registerObject(
            path, object, QDBusConnection::ExportAllSlots | QDBusConnection::ExportAllProperties));
        ASSERT_TRUE(service.isEmpty() || m_serverBus.registerService(service));
    }

    bool recorded() const { return m_folder.exists(QString(QuietDesktop::recordName)); }

    test::NotificationSession m_session;
    test::TempDataDir m_folder;
    QDBusConnection m_bus{u"none"_s};
    QDBusConnection m_serverBus{u"none"_s};
    QThread m_thread;
    std::unique_ptr<StandInServer> m_standIn;
    std::unique_ptr<UserSwitch> m_switch; // where the server keeps the switch elsewhere
};

// Each server switched the way its user would. dunst's own switch is met end to end, with the
// real program, in focus_aids_e2e_tests.
class DoNotDisturbTest : public DoNotDisturbBus, public ::testing::WithParamInterface<const char*> {
protected:
    void SetUp() override {
        ASSERT_NO_FATAL_FAILURE(DoNotDisturbBus::SetUp());
        const QString server = QString::fromLatin1(GetParam());
        ASSERT_NO_FATAL_FAILURE(startStandIn(server));
        const auto withSwitch = [&](UserSwitch* standIn, const QString& service,
                                    const QString& path) {
            m_switch.reset(standIn);
            serve(standIn, service, path);
        };
        if (server == u"SwayNotificationCenter")
            withSwitch(new SwayncStandIn, u"org.erikreider.swaync.cc"_s,
                       u"/org/erikreider/swaync/cc"_s);
        else if (server == u"mako")
            withSwitch(new MakoStandIn, {}, u"/fr/emersion/Mako"_s);
        else if (server == u"Xfce Notify Daemon")
            withSwitch(new XfconfStandIn, u"org.xfce.Xfconf"_s, u"/org/xfce/Xfconf"_s);
        else if (server == u"gnome-shell")
            m_switch = std::make_unique<GnomeSettings>();
    }
    UserSwitch& user() { return m_switch ? *m_switch : *m_standIn; }
};

} // namespace

TEST_P(DoNotDisturbTest, OnForDeepWorkThenAsTheUserHadIt) {
    const struct {
        const char* name;
        bool userBefore;
        std::optional<bool> userDuring; // what the user switches to while the block runs
        bool after;
    } cases[] = {
        {"off before", false, std::nullopt, false},
        {"the user's own, kept", true, std::nullopt, true},
        {"switched off during the block, not fought", false, false, false},
        {"the user's own, switched off during the block", true, false, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        user().userSets(c.userBefore);
        QuietDesktop quiet(m_folder.path(), m_bus);
        quiet.silence();
        // On, and recorded if it was a change, and only then.
        EXPECT_EQ(std::tuple(user().isOn(), quiet.isSilenced(), recorded()),
                  std::tuple(true, true, !c.userBefore));
        if (c.userDuring) {
            user().userSets(*c.userDuring);
            quiet.silence(); // the next refresh
            EXPECT_EQ(user().isOn(), *c.userDuring);
        }
        quiet.restore();
        EXPECT_EQ(std::tuple(user().isOn(), recorded()), std::tuple(c.after, false));
        if (auto* mako = dynamic_cast<MakoStandIn*>(m_switch.get())) {
            EXPECT_EQ(mako->ListModes().mid(0, 2), (QStringList{u"default"_s, u"work"_s}));
        }
    }
}

// A run that never put the desktop back leaves its record; the next start repairs from it. A
// record that names nothing we know is dropped without touching the desktop.
TEST_P(DoNotDisturbTest, TheNextStartRepairsWhatALostRunLeft) {
    user().userSets(false);
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
        user().userSets(true);
    m_folder.write(QString(QuietDesktop::recordName), record);
    { QuietDesktop next(m_folder.path(), m_bus); }
    EXPECT_EQ(std::tuple(user().isOn(), recorded()), std::tuple(false, false));

    for (const QByteArray& junk :
         {QByteArray("{\"server\": \"elsewhere\"}"), QByteArray("\x01{")}) {
        user().userSets(true);
        m_folder.write(QString(QuietDesktop::recordName), junk);
        { QuietDesktop next(m_folder.path(), m_bus); }
        EXPECT_EQ(std::tuple(user().isOn(), recorded()), std::tuple(true, false))
            << junk.constData();
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
    EXPECT_TRUE(m_standIn->isOn());
    EXPECT_EQ(doNotDisturbProblemText(m_bus), QString());
    quiet.restore();
    EXPECT_FALSE(m_standIn->isOn());
}

#include "DoNotDisturbTest.moc"
