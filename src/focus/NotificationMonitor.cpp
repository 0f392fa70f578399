#include "focus/NotificationMonitor.h"

#include <dbus/dbus.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <array>
#include <optional>
#include <string>

namespace quillmere {

namespace {

constexpr const char* freedesktopInterface = "org.freedesktop.Notifications";
constexpr const char* gtkInterface = "org.gtk.Notifications";
constexpr const char* portalInterface = "org.freedesktop.portal.Notification";
constexpr int becomeMonitorTimeoutMs = 2000;

// Method returns carry no interface or member, so the daemon's answers are picked out by their
// sender: the bus matches a well-known name against whoever owns it at that moment.
constexpr std::array matchRules{
    "type='method_call',interface='org.freedesktop.Notifications',member='Notify'",
    "type='method_call',interface='org.freedesktop.Notifications',member='CloseNotification'",
    "type='method_return',sender='org.freedesktop.Notifications'",
    "type='signal',interface='org.freedesktop.Notifications',member='NotificationClosed'",
    "type='method_call',interface='org.gtk.Notifications',member='AddNotification'",
    "type='method_call',interface='org.gtk.Notifications',member='RemoveNotification'",
    "type='method_call',interface='org.freedesktop.portal.Notification',member='AddNotification'",
    "type='method_call',interface='org.freedesktop.portal.Notification',member='"
    "RemoveNotification'",
};

// The basic value of the argument at `index`, if it is there and of `type`.
template <class T> std::optional<T> basicArgument(DBusMessage* message, int index, int type) {
    DBusMessageIter it;
    if (!dbus_message_iter_init(message, &it))
        return std::nullopt;
    for (int i = 0; i < index; ++i) {
        if (!dbus_message_iter_next(&it))
            return std::nullopt;
    }
    if (dbus_message_iter_get_arg_type(&it) != type)
        return std::nullopt;
    T value{};
    dbus_message_iter_get_basic(&it, &value);
    return value;
}

std::optional<std::string> stringArgument(DBusMessage* message, int index) {
    const auto text = basicArgument<const char*>(message, index, DBUS_TYPE_STRING);
    if (!text || *text == nullptr)
        return std::nullopt;
    return std::string(*text);
}

bool is(DBusMessage* message, const char* interface, const char* member) {
    const char* i = dbus_message_get_interface(message);
    const char* m = dbus_message_get_member(message);
    return i && m && std::string_view(i) == interface && std::string_view(m) == member;
}

std::string gtkKey(DBusMessage* message) {
    const auto app = stringArgument(message, 0);
    const auto id = stringArgument(message, 1);
    if (!app || !id)
        return {};
    return *app + '\n' + *id;
}

// The portal names the application by its connection; the notification id is the caller's.
std::string portalKey(DBusMessage* message) {
    const char* sender = dbus_message_get_sender(message);
    const auto id = stringArgument(message, 0);
    if (!sender || !id)
        return {};
    return std::string(sender) + '\n' + *id;
}

// Whether a Notify call's hints (argument 6, a{sv}) ask for critical urgency (byte 2).
bool criticalUrgency(DBusMessage* message) {
    DBusMessageIter it;
    if (!dbus_message_iter_init(message, &it))
        return false;
    for (int i = 0; i < 6; ++i) {
        if (!dbus_message_iter_next(&it))
            return false;
    }
    if (dbus_message_iter_get_arg_type(&it) != DBUS_TYPE_ARRAY ||
        dbus_message_iter_get_element_type(&it) != DBUS_TYPE_DICT_ENTRY)
        return false;
    DBusMessageIter entries;
    dbus_message_iter_recurse(&it, &entries);
    for (; dbus_message_iter_get_arg_type(&entries) == DBUS_TYPE_DICT_ENTRY;
         dbus_message_iter_next(&entries)) {
        DBusMessageIter entry;
        dbus_message_iter_recurse(&entries, &entry);
        const char* key = nullptr;
        if (dbus_message_iter_get_arg_type(&entry) != DBUS_TYPE_STRING)
            continue;
        dbus_message_iter_get_basic(&entry, &key);
        if (!key || std::string_view(key) != "urgency" || !dbus_message_iter_next(&entry) ||
            dbus_message_iter_get_arg_type(&entry) != DBUS_TYPE_VARIANT)
            continue;
        DBusMessageIter value;
        dbus_message_iter_recurse(&entry, &value);
        if (dbus_message_iter_get_arg_type(&value) != DBUS_TYPE_BYTE)
            continue;
        unsigned char urgency = 0;
        dbus_message_iter_get_basic(&value, &urgency);
        return urgency == 2;
    }
    return false;
}

} // namespace

NotificationMonitor::NotificationMonitor(BusFinder findBus, std::chrono::milliseconds retry)
    : m_findBus(std::move(findBus)), m_retry(retry) {
    m_wake = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (m_wake < 0) {
        report(bannerWatch::BusState::unreachable);
        return;
    }
    dbus_threads_init_default();
    m_thread = std::thread([this] { run(); });
}

NotificationMonitor::~NotificationMonitor() {
    if (m_thread.joinable()) {
        m_finish = true;
        wakeThread();
        m_thread.join();
    }
    if (m_wake >= 0)
        close(m_wake);
}

void NotificationMonitor::wakeThread() {
    const std::uint64_t one = 1;
    // The thread wakes on any write; a failed one can only mean the counter is already set.
    [[maybe_unused]] const ssize_t written = write(m_wake, &one, sizeof one);
}

void NotificationMonitor::setWatching(bool watching) {
    if (m_watching.exchange(watching) != watching && watching)
        wakeThread();
}

bool NotificationMonitor::bannerPresent() {
    const std::lock_guard lock(m_mutex);
    return m_ledger.present(BannerLedger::Clock::now());
}

void NotificationMonitor::report(bannerWatch::BusState state) {
    m_state = state;
    bannerWatch::setBusState(state);
}

bool NotificationMonitor::waitToRetry() {
    const bool watching = m_watching.load();
    pollfd fd{m_wake, POLLIN, 0};
    const int timeout = watching ? static_cast<int>(m_retry.count()) : -1;
    if (poll(&fd, 1, timeout) > 0) {
        std::uint64_t count = 0;
        [[maybe_unused]] const ssize_t got = read(m_wake, &count, sizeof count);
    }
    return !m_finish.load();
}

void NotificationMonitor::run() {
    do {
        if (!m_watching.load())
            continue;
        const QByteArray address = m_findBus ? m_findBus() : QByteArray();
        bool refused = false;
        DBusConnection* connection = address.isEmpty() ? nullptr : becomeMonitor(address, refused);
        if (!connection) {
            report(refused ? bannerWatch::BusState::refused : bannerWatch::BusState::unreachable);
            continue;
        }
        report(bannerWatch::BusState::monitoring);
        listen(connection);
        dbus_connection_close(connection);
        dbus_connection_unref(connection);
        // Closes that came while we were away are lost: better to forget every banner than to
        // keep one for ever.
        {
            const std::lock_guard lock(m_mutex);
            m_ledger.clear();
        }
        report(bannerWatch::BusState::unreachable);
    } while (!m_finish.load() && waitToRetry());
}

DBusConnection* NotificationMonitor::becomeMonitor(const QByteArray& address, bool& refused) {
    DBusError error;
    dbus_error_init(&error);
    DBusConnection* connection = dbus_connection_open_private(address.constData(), &error);
    if (!connection) {
        dbus_error_free(&error);
        return nullptr;
    }
    dbus_connection_set_exit_on_disconnect(connection, FALSE);
    const auto fail = [&]() -> DBusConnection* {
        dbus_error_free(&error);
        dbus_connection_close(connection);
        dbus_connection_unref(connection);
        return nullptr;
    };
    if (!dbus_bus_register(connection, &error))
        return fail();

    DBusMessage* call = dbus_message_new_method_call(
        DBUS_SERVICE_DBUS, DBUS_PATH_DBUS, "org.freedesktop.DBus.Monitoring", "BecomeMonitor");
    if (!call)
        return fail();
    DBusMessageIter args;
    DBusMessageIter rules;
    dbus_message_iter_init_append(call, &args);
    bool built = dbus_message_iter_open_container(&args, DBUS_TYPE_ARRAY,
                                                  DBUS_TYPE_STRING_AS_STRING, &rules);
    for (const char* rule : matchRules)
        built = built && dbus_message_iter_append_basic(&rules, DBUS_TYPE_STRING, &rule);
    built = built && dbus_message_iter_close_container(&args, &rules);
    const dbus_uint32_t flags = 0;
    built = built && dbus_message_iter_append_basic(&args, DBUS_TYPE_UINT32, &flags);
    DBusMessage* reply = built ? dbus_connection_send_with_reply_and_block(
                                     connection, call, becomeMonitorTimeoutMs, &error)
                               : nullptr;
    dbus_message_unref(call);
    if (!reply) {
        // The bus answered, and said no: a policy that keeps monitors out.
        refused = dbus_error_is_set(&error) && dbus_connection_get_is_connected(connection);
        return fail();
    }
    dbus_message_unref(reply);
    return connection;
}

void NotificationMonitor::listen(DBusConnection* connection) {
    int busFd = -1;
    if (!dbus_connection_get_unix_fd(connection, &busFd))
        return;
    for (;;) {
        // Messages may already sit in libdbus's buffer from the last read.
        while (DBusMessage* message = dbus_connection_pop_message(connection)) {
            handle(message);
            dbus_message_unref(message);
        }
        if (!dbus_connection_get_is_connected(connection))
            return;
        std::array<pollfd, 2> fds{{{busFd, POLLIN, 0}, {m_wake, POLLIN, 0}}};
        if (poll(fds.data(), fds.size(), -1) < 0)
            continue; // interrupted by a signal
        if (fds[1].revents != 0) {
            std::uint64_t count = 0;
            [[maybe_unused]] const ssize_t got = read(m_wake, &count, sizeof count);
            if (m_finish.load())
                return;
        }
        // Reading only: we popped every message ourselves, so libdbus never answers a
        // method call on our behalf.
        if (fds[0].revents != 0 && !dbus_connection_read_write(connection, 0))
            return;
    }
}

QStringList NotificationMonitor::takeArrivals() {
    const std::lock_guard lock(m_mutex);
    return std::exchange(m_arrivals, {});
}

// Called with m_mutex held. Nobody collects while no block runs, so the list is kept short.
void NotificationMonitor::noteArrival(const QString& application) {
    constexpr qsizetype kept = 256;
    if (m_arrivals.size() >= kept)
        m_arrivals.removeFirst();
    m_arrivals.append(application);
}

void NotificationMonitor::handle(DBusMessage* message) {
    const auto now = BannerLedger::Clock::now();
    const int type = dbus_message_get_type(message);
    const std::lock_guard lock(m_mutex);
    if (type == DBUS_MESSAGE_TYPE_METHOD_CALL) {
        if (is(message, freedesktopInterface, "Notify")) {
            const char* sender = dbus_message_get_sender(message);
            const auto replaces = basicArgument<dbus_uint32_t>(message, 1, DBUS_TYPE_UINT32);
            const auto timeout = basicArgument<dbus_int32_t>(message, 7, DBUS_TYPE_INT32);
            m_ledger.notifyRequested(sender ? sender : "", dbus_message_get_serial(message),
                                     replaces.value_or(0), timeout.value_or(-1),
                                     criticalUrgency(message), now);
            // A replacement updates a notification already counted.
            if (replaces.value_or(0) == 0)
                noteArrival(
                    QString::fromStdString(stringArgument(message, 0).value_or(std::string())));
        } else if (is(message, freedesktopInterface, "CloseNotification")) {
            m_ledger.closed(basicArgument<dbus_uint32_t>(message, 0, DBUS_TYPE_UINT32).value_or(0));
        } else if (is(message, gtkInterface, "AddNotification")) {
            if (const std::string key = gtkKey(message); !key.empty()) {
                m_ledger.gtkAdded(key, now);
                // GNOME applications name themselves by their application id.
                noteArrival(
                    QString::fromStdString(stringArgument(message, 0).value_or(std::string())));
            }
        } else if (is(message, gtkInterface, "RemoveNotification")) {
            if (const std::string key = gtkKey(message); !key.empty())
                m_ledger.gtkRemoved(key);
        } else if (is(message, portalInterface, "AddNotification")) {
            if (const std::string key = portalKey(message); !key.empty())
                m_ledger.portalAdded(key, now);
        } else if (is(message, portalInterface, "RemoveNotification")) {
            if (const std::string key = portalKey(message); !key.empty())
                m_ledger.portalRemoved(key);
        }
    } else if (type == DBUS_MESSAGE_TYPE_METHOD_RETURN) {
        const char* destination = dbus_message_get_destination(message);
        const auto id = basicArgument<dbus_uint32_t>(message, 0, DBUS_TYPE_UINT32);
        if (destination && id)
            m_ledger.notifyAnswered(destination, dbus_message_get_reply_serial(message), *id);
    } else if (type == DBUS_MESSAGE_TYPE_SIGNAL) {
        if (is(message, freedesktopInterface, "NotificationClosed"))
            m_ledger.closed(basicArgument<dbus_uint32_t>(message, 0, DBUS_TYPE_UINT32).value_or(0));
    }
}

} // namespace quillmere
