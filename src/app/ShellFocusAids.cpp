#include "app/ShellFocusAids.h"

namespace quillmere {

namespace {

// Until the sound and nudge aids are linked in, the shell routes the one aid it owns itself.
class ToolTipOnlyFocusAids final : public FocusAids {
public:
    explicit ToolTipOnlyFocusAids(ToolTipSink sink) : m_sink(std::move(sink)) {}
    void playNoise(float) override {}
    void stopNoise() override {}
    void playSound(const QString&) override {}
    void watchBanners(const WorkBlock&) override {}
    void stopWatchingBanners() override {}
    void offerReminder(const WorkBlock&, Minutes) override {}
    void setToolTip(const std::optional<QString>& text) override {
        if (m_sink)
            m_sink(text);
    }

private:
    ToolTipSink m_sink;
};

} // namespace

std::unique_ptr<FocusAids> makeFocusAids(const WallClock&, ToolTipSink toolTips,
                                         IconAnchorProvider) {
    return std::make_unique<ToolTipOnlyFocusAids>(std::move(toolTips));
}

} // namespace quillmere
