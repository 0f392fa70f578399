#include "app/QuitSignals.h"

#include <QCoreApplication>
#include <QSocketNotifier>

#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace quillmere {

namespace {

constexpr std::array quitSignals{SIGTERM, SIGINT, SIGHUP};
int pipeEnds[2] = {-1, -1};

void onSignal(int) {
    const int saved = errno;
    const char byte = 1;
    // A full pipe already holds a quit request; nothing else is safe to do here.
    [[maybe_unused]] const auto written = ::write(pipeEnds[0], &byte, 1);
    errno = saved;
}

} // namespace

QuitSignals::QuitSignals(QObject* parent) : QObject(parent) {
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, pipeEnds) != 0)
        return;
    m_notifier = new QSocketNotifier(pipeEnds[1], QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, [] {
        char bytes[16];
        while (::read(pipeEnds[1], bytes, sizeof bytes) > 0) {
        }
        QCoreApplication::quit();
    });
    struct sigaction action = {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    for (int signal : quitSignals)
        ::sigaction(signal, &action, nullptr);
}

// From here on a signal ends the program the ordinary way again.
QuitSignals::~QuitSignals() {
    for (int signal : quitSignals)
        std::signal(signal, SIG_DFL);
    delete m_notifier;
    m_notifier = nullptr;
    for (int& end : pipeEnds) {
        if (end >= 0)
            ::close(end);
        end = -1;
    }
}

} // namespace quillmere
