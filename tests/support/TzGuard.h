#pragma once

#include <QByteArray>
#include <QtGlobal>

#include <ctime>

namespace quillmere::test {

// Sets the process's time zone for the life of the guard and restores it afterwards.
class TzGuard {
public:
    explicit TzGuard(const char* zone)
        : m_had(qEnvironmentVariableIsSet("TZ")), m_old(qgetenv("TZ")) {
        set(zone);
    }
    ~TzGuard() {
        if (m_had)
            qputenv("TZ", m_old);
        else
            qunsetenv("TZ");
        tzset();
    }
    TzGuard(const TzGuard&) = delete;
    TzGuard& operator=(const TzGuard&) = delete;

    static void set(const char* zone) {
        qputenv("TZ", zone);
        tzset();
    }

private:
    bool m_had;
    QByteArray m_old;
};

} // namespace quillmere::test
