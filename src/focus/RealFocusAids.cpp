#include "focus/RealFocusAids.h"

#include "focus/AnyBannerSource.h"
#include "focus/ChimePlayer.h"
#include "focus/Chimes.h"
#include "focus/FocusNudge.h"
#include "focus/NoisePlayer.h"
#include "focus/NotificationMonitor.h"
#include "focus/NudgeTexts.h"
#include "focus/ReminderNudge.h"
#include "focus/X11NotificationWindows.h"

#include "ui/KindColors.h"

#include <QGuiApplication>

namespace quillmere {

namespace {
std::unique_ptr<BannerSource> makeBannerSource() {
    std::vector<std::unique_ptr<BannerSource>> sources;
    sources.push_back(std::make_unique<NotificationMonitor>());
    if (QGuiApplication::platformName() == QLatin1String("xcb"))
        sources.push_back(std::make_unique<X11NotificationWindows>());
    return std::make_unique<AnyBannerSource>(std::move(sources));
}

// While the desktop holds banners back none appears, whatever the bus carries: the requests
// still pass, but the server shows nothing, so nothing can interrupt.
class UnlessSilenced final : public BannerSource {
public:
    // Holds the aids' own pointer, which the shell may set after the source is made.
    UnlessSilenced(std::unique_ptr<BannerSource> inner, NotificationSilencer* const& silencer)
        : m_inner(std::move(inner)), m_silencer(silencer) {}
    bool bannerPresent() override {
        // The desktop is asked only when there is a banner to judge.
        return m_inner->bannerPresent() && !(m_silencer && m_silencer->isSilenced());
    }
    void setWatching(bool watching) override { m_inner->setWatching(watching); }
    QStringList takeArrivals() override { return m_inner->takeArrivals(); }

private:
    std::unique_ptr<BannerSource> m_inner;
    NotificationSilencer* const& m_silencer;
};
} // namespace

RealFocusAids::RealFocusAids(const WallClock& clock, BannerSourceFactory banners)
    : m_clock(clock), m_bannerFactory(std::move(banners)) {}

// The nudges refer to the card and the banner source, so they go first.
RealFocusAids::~RealFocusAids() {
    m_reminder.reset();
    m_nudge.reset();
    m_banners.reset();
    m_card.reset();
}

void RealFocusAids::playNoise(float volume) {
    if (!m_noise)
        m_noise = std::make_unique<NoisePlayer>();
    m_noise->play(volume);
}

void RealFocusAids::stopNoise() {
    if (m_noise)
        m_noise->stop();
}

void RealFocusAids::playSound(const QString& name) {
    if (chimes::samples(name).empty())
        return;
    if (!m_chimes)
        m_chimes = std::make_unique<ChimePlayer>();
    m_chimes->play(name);
}

NudgeCard& RealFocusAids::card() {
    if (!m_card) {
        m_card = std::make_unique<NudgeCard>();
        m_card->setAnchorProvider(m_anchor);
    }
    return *m_card;
}

BannerSource& RealFocusAids::banners() {
    if (!m_banners) {
        auto source = m_bannerFactory ? m_bannerFactory() : nullptr;
        if (!source)
            source = makeBannerSource();
        m_banners = std::make_unique<UnlessSilenced>(std::move(source), m_silencer);
    }
    return *m_banners;
}

FocusNudge& RealFocusAids::nudge() {
    if (!m_nudge)
        m_nudge = std::make_unique<FocusNudge>(card(), banners(), m_clock);
    return *m_nudge;
}

void RealFocusAids::watchBanners(const WorkBlock& block) {
    nudge().watch(block);
}

// Without a nudge nothing was ever watched, so there is no watch to end and no card to take
// down; stopping must not open a bus connection either.
void RealFocusAids::stopWatchingBanners() {
    if (m_nudge)
        m_nudge->stop();
}

void RealFocusAids::offerReminder(const WorkBlock& block, Minutes now) {
    if (!m_reminder)
        m_reminder = std::make_unique<ReminderNudge>(card());
    m_reminder->offer(block, now);
}

void RealFocusAids::setToolTip(const std::optional<QString>& text) {
    if (m_toolTipSink)
        m_toolTipSink(text);
}

void RealFocusAids::silenceNotifications(const WorkBlock& block) {
    if (!m_silencer)
        return;
    if (!m_silencedBlock) {
        // Only what arrives from now on is held back by this silence.
        banners().takeArrivals();
        m_heldBack = false;
    }
    m_silencedBlock = block;
    m_silencer->silence();
    m_heldBack = m_heldBack || m_silencer->isSilenced();
}

// What arrived while banners were held back is told in one card once the block is over.
void RealFocusAids::endSilence() {
    if (!m_silencer)
        return;
    m_silencer->restore();
    const std::optional<WorkBlock> block = std::exchange(m_silencedBlock, std::nullopt);
    if (!block || !m_heldBack || !m_banners)
        return;
    const QStringList arrivals = m_banners->takeArrivals();
    if (!arrivals.isEmpty())
        card().show(nudgeTexts::whileYouFocused, nudgeTexts::digestDetail(arrivals),
                    ui::kindColor(block->kind), FocusNudge::nudgeSeconds);
}

void RealFocusAids::setAnchorProvider(NudgeCard::AnchorProvider provider) {
    m_anchor = std::move(provider);
    if (m_card)
        m_card->setAnchorProvider(m_anchor);
}

} // namespace quillmere
