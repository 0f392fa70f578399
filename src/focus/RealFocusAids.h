#pragma once

#include "focus/NudgeCard.h"
#include "store/FocusAids.h"
#include "store/NotificationSilencer.h"

#include <QRect>

#include <functional>
#include <memory>
#include <optional>

namespace quillmere {

class BannerSource;
class ChimePlayer;
class FocusNudge;
class NoisePlayer;
class ReminderNudge;
class WallClock;

// The focus aids as the user meets them. Each is made the first time the store needs it, so a
// day without deep work opens no audio device and no bus connection; both nudges share one
// card.
class RealFocusAids final : public FocusAids {
public:
    using ToolTipSink = std::function<void(const std::optional<QString>&)>;
    using BannerSourceFactory = std::function<std::unique_ptr<BannerSource>()>;

    // By default banners are watched on the session bus; tests may supply their own source.
    explicit RealFocusAids(const WallClock& clock, BannerSourceFactory banners = {});
    ~RealFocusAids() override;

    void playNoise(float volume) override;
    void stopNoise() override;
    void playSound(const QString& name) override;
    void watchBanners(const WorkBlock& block) override;
    void stopWatchingBanners() override;
    void offerReminder(const WorkBlock& block, Minutes now) override;
    void setToolTip(const std::optional<QString>& text) override;
    void silenceNotifications(const WorkBlock& block) override;
    void endSilence() override;

    // The shell shows the tooltip on its tray icon and tells the card where that icon is.
    void setToolTipSink(ToolTipSink sink) { m_toolTipSink = std::move(sink); }
    void setAnchorProvider(NudgeCard::AnchorProvider provider);
    // The desktop's do-not-disturb, owned by the shell (which outlives these aids).
    void setSilencer(NotificationSilencer* silencer) { m_silencer = silencer; }

    // What has been made so far, for the shell and tests; nothing is made by asking.
    NoisePlayer* noisePlayer() const { return m_noise.get(); }
    NudgeCard* nudgeCard() const { return m_card.get(); }
    FocusNudge* focusNudge() const { return m_nudge.get(); }

private:
    NudgeCard& card();
    BannerSource& banners();
    FocusNudge& nudge();

    const WallClock& m_clock;
    BannerSourceFactory m_bannerFactory;
    ToolTipSink m_toolTipSink;
    NudgeCard::AnchorProvider m_anchor;
    NotificationSilencer* m_silencer = nullptr;
    // The deep block of the silence under way, and whether notifications were held back in it.
    std::optional<WorkBlock> m_silencedBlock;
    bool m_heldBack = false;
    std::unique_ptr<NoisePlayer> m_noise;
    std::unique_ptr<ChimePlayer> m_chimes;
    std::unique_ptr<NudgeCard> m_card;
    std::unique_ptr<BannerSource> m_banners;
    std::unique_ptr<FocusNudge> m_nudge;
    std::unique_ptr<ReminderNudge> m_reminder;
};

} // namespace quillmere
