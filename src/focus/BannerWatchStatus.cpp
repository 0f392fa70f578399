#include "focus/BannerWatchStatus.h"

#include "focus/SessionBus.h"

#include <QGuiApplication>

#include <atomic>

namespace quillmere::bannerWatch {

namespace {
std::atomic<BusState> lastState{BusState::untried};
} // namespace

void setBusState(BusState state) {
    lastState.store(state);
}

BusState busState() {
    return lastState.load();
}

QString problemText() {
    const BusState state = busState();
    QString reason;
    if ((state == BusState::untried || state == BusState::unreachable) &&
        sessionBusAddress().isEmpty())
        reason = QStringLiteral("there is no session bus");
    else if (state == BusState::unreachable)
        reason = QStringLiteral("the session bus cannot be reached");
    else if (state == BusState::refused)
        reason = QStringLiteral("the session bus does not allow watching its notifications");
    if (reason.isEmpty())
        return {};
    // On X11 the windows of window-based notification servers are still seen.
    if (QGuiApplication::platformName() == QLatin1String("xcb"))
        return QStringLiteral("Only banners shown as notification windows are noticed: ") + reason +
               u'.';
    return QStringLiteral("Notification banners cannot be noticed: ") + reason + u'.';
}

} // namespace quillmere::bannerWatch
