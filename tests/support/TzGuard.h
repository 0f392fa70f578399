#pragma once

#include <QByteArray>
#include <QtGlobal>

#include <ctime>
#include <optional>

namespace quillmere::test {

// Sets the process's time zone for the life of the guard and restores it afterwards.
class TzGuard {
public:
    explicit TzGuard(const char* zone) { set(zone); }
    ~TzGuard() {
        m_old ? qputenv("TZ", *m_old) : qunsetenv("TZ");
        tzset();
    }
    TzGuard(const TzGuard&) = delete; // one restore per change

    static void set(const char* zone) {
        qputenv("TZ", zone);
        tzset();
    }

private:
    const std::optional<QByteArray> m_old =
        qEnvironmentVariableIsSet("TZ") ? std::optional(qgetenv("TZ")) : std::nullopt;
};

} // namespace quillmere::test
