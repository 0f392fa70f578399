#pragma once

#include "store/FocusAids.h"

#include <QRect>

#include <functional>
#include <memory>
#include <optional>

namespace quillmere {

class NotificationSilencer;
class WallClock;

// The focus aids as the shell wires them: the tooltip goes to the tray icon, and cards hang
// under the icon when its place is known.
using ToolTipSink = std::function<void(const std::optional<QString>&)>;
using IconAnchorProvider = std::function<std::optional<QRect>()>;

std::unique_ptr<FocusAids> makeFocusAids(const WallClock& clock, ToolTipSink toolTips,
                                         IconAnchorProvider anchor);
// The do-not-disturb controller, which lives longer than the aids made above.
void attachSilencer(FocusAids& aids, NotificationSilencer& silencer);

} // namespace quillmere
