#pragma once

#include "model/WorkBlock.h"

#include <QObject>
#include <QTimer>

#include <optional>

namespace quillmere {

class BannerSource;
class NudgeCard;
class WallClock;

// While a block runs, looks once a second for a notification banner and, the moment one
// appears, puts up a card saying how much of the block is left. Only a banner's arrival
// counts: one that stays, or that was already up when watching began, gives no nudge.
class FocusNudge final : public QObject {
    Q_OBJECT
public:
    static constexpr int pollIntervalMs = 1000;
    static constexpr double nudgeSeconds = 6.0;

    FocusNudge(NudgeCard& card, BannerSource& banners, const WallClock& clock,
               QObject* parent = nullptr);

    // Protects this block from now on; a later call only swaps the block.
    void watch(const WorkBlock& block);
    // Ends a watch and takes down whatever card is up, whichever nudge put it there. Every
    // refresh outside deep work calls this, so when nothing was watched it leaves the card
    // alone: a reminder stays up its full time through the heartbeats.
    void stop();

    bool isWatching() const { return m_pollTimer.isActive(); }
    // One poll, as the timer runs it; tests tick it by hand.
    void poll();

private:
    void nudge();

    NudgeCard& m_card;
    BannerSource& m_banners;
    const WallClock& m_clock;
    std::optional<WorkBlock> m_block;
    QTimer m_pollTimer;
    bool m_bannerWasPresent = false;
};

} // namespace quillmere
