#include "focus/FocusNudge.h"

#include "focus/BannerSource.h"
#include "focus/NudgeCard.h"
#include "focus/NudgeTexts.h"
#include "model/TimeMath.h"
#include "model/WallClock.h"
#include "ui/KindColors.h"

namespace quillmere {

FocusNudge::FocusNudge(NudgeCard& card, BannerSource& banners, const WallClock& clock,
                       QObject* parent)
    : QObject(parent), m_card(card), m_banners(banners), m_clock(clock) {
    // A coarse timer lets the system batch this wake-up with others (about 5% slack).
    m_pollTimer.setInterval(pollIntervalMs);
    m_pollTimer.setTimerType(Qt::CoarseTimer);
    connect(&m_pollTimer, &QTimer::timeout, this, &FocusNudge::poll);
}

void FocusNudge::watch(const WorkBlock& block) {
    m_block = block;
    if (m_pollTimer.isActive())
        return;
    m_banners.setWatching(true);
    m_bannerWasPresent = m_banners.bannerPresent();
    m_pollTimer.start();
}

void FocusNudge::stop() {
    m_block.reset();
    if (!m_pollTimer.isActive())
        return;
    m_pollTimer.stop();
    m_banners.setWatching(false);
    m_card.dismiss();
}

void FocusNudge::poll() {
    const bool present = m_banners.bannerPresent();
    if (present && !m_bannerWasPresent)
        nudge();
    m_bannerWasPresent = present;
}

void FocusNudge::nudge() {
    if (!m_block)
        return;
    const Minutes now = TimeMath::minutesOfDay(m_clock.now());
    m_card.show(nudgeTexts::stayFocused, nudgeTexts::focusDetail(*m_block, now),
                ui::kindColor(m_block->kind), nudgeSeconds);
}

} // namespace quillmere
