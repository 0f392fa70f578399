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

} // namespace

NotificationMonitor::NotificationMonitor(QByteArray address) {
    if (address.isEmpty())
        return;
    m_wake = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (m_wake < 0)
        return;
    dbus_threads_init_default();
    m_thread = std::thread([this, address = std::move(address)] { run(address); });
}

NotificationMonitor::~NotificationMonitor() {
    if (m_thread.joinable()) {
        const std::uint64_t one = 1;
        // The thread wakes on any write; a failed one can only mean the descriptor is gone.
        [[maybe_unused]] const ssize_t written = write(m_wake, &one, sizeof one);
        m_thread.join();
    }
    if (m_wake >= 0)
        close(m_wake);
}

bool NotificationMonitor::bannerPresent() {
    const std::lock_guard lock(m_mutex);
    return m_ledger.present(BannerLedger::Clock::now());
}

void NotificationMonitor::run(QByteArray address) {
    DBusConnection* connection = becomeMonitor(address);
    if (!connection)
        return;
    m_monitoring = true;
    listen(connection);
    m_monitoring = false;
    dbus_connection_close(connection);
    dbus_connection_unref(connection);
}

DBusConnection* NotificationMonitor::becomeMonitor(const QByteArray& address) {
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
    if (!reply)
        return fail();
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
        if (fds[1].revents != 0)
            return;
        // Reading only: we popped every message ourselves, so libdbus never answers a
        // method call on our behalf.
        if (!dbus_connection_read_write(connection, 0))
            return;
    }
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
                                     replaces.value_or(0), timeout.value_or(-1), now);
        } else if (is(message, freedesktopInterface, "CloseNotification")) {
            m_ledger.closed(basicArgument<dbus_uint32_t>(message, 0, DBUS_TYPE_UINT32).value_or(0));
        } else if (is(message, gtkInterface, "AddNotification")) {
            if (const std::string key = gtkKey(message); !key.empty())
                m_ledger.gtkAdded(key, now);
        } else if (is(message, gtkInterface, "RemoveNotification")) {
            if (const std::string key = gtkKey(message); !key.empty())
                m_ledger.gtkRemoved(key);
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
