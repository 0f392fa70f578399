#include "app/ShellFocusAids.h"

#include "focus/RealFocusAids.h"

namespace quillmere {

std::unique_ptr<FocusAids> makeFocusAids(const WallClock& clock, ToolTipSink toolTips,
                                         IconAnchorProvider anchor) {
    auto aids = std::make_unique<RealFocusAids>(clock);
    aids->setToolTipSink(std::move(toolTips));
    aids->setAnchorProvider(std::move(anchor));
    return aids;
}

void attachSilencer(FocusAids& aids, NotificationSilencer& silencer) {
    // Only the aids made by makeFocusAids() reach here.
    static_cast<RealFocusAids&>(aids).setSilencer(&silencer);
}

} // namespace quillmere
