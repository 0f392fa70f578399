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

} // namespace quillmere
