#pragma once

#include "model/Minutes.h"
#include "model/WorkBlock.h"

#include <QString>

#include <optional>

namespace quillmere {

// The port through which the store drives everything that reaches the user outside the
// panel: the noise, the chimes, the banner watch, the reminder card and the tray tooltip.
// The real implementation creates each aid the first time it is needed; tests record calls.
class FocusAids {
public:
    virtual ~FocusAids() = default;

    // Starts (or keeps) the brown noise at this volume; the volume is applied on every call.
    virtual void playNoise(float volume) = 0;
    // Stops the noise engine if one was ever made; never makes one.
    virtual void stopNoise() = 0;
    // A named chime: "Submarine" (a deep block starts) or "Glass" (it ends).
    virtual void playSound(const QString& name) = 0;
    // Watches for notification banners on behalf of this running block (replacing the last).
    virtual void watchBanners(const WorkBlock& block) = 0;
    // Stops watching and takes down whatever card is up.
    virtual void stopWatchingBanners() = 0;
    // Offers a reminder for an upcoming block; the reminder decides whether to show it.
    virtual void offerReminder(const WorkBlock& block, Minutes now) = 0;
    // The tray icon's tooltip; nothing clears it.
    virtual void setToolTip(const std::optional<QString>& text) = 0;
    // Holds the desktop's notifications back for this running deep block (called on every
    // refresh while it runs); aids that cannot do so ignore it.
    virtual void silenceNotifications(const WorkBlock&) {}
    // Deep work is over (or silencing was turned off): the desktop goes back to how the user had
    // it. Called on every refresh outside silenced deep work.
    virtual void endSilence() {}
};

// For a store that has nobody to tell (benchmarks, tools).
class NoFocusAids final : public FocusAids {
public:
    void playNoise(float) override {}
    void stopNoise() override {}
    void playSound(const QString&) override {}
    void watchBanners(const WorkBlock&) override {}
    void stopWatchingBanners() override {}
    void offerReminder(const WorkBlock&, Minutes) override {}
    void setToolTip(const std::optional<QString>&) override {}
};

} // namespace quillmere
