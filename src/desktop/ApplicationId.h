#pragma once

#include <QLatin1StringView>

namespace quillmere {

// The one name the desktop knows us by: the desktop entry and the autostart entry are files
// named after it, the AppStream component and the icons carry it, and the session bus will.
inline constexpr QLatin1StringView applicationId{"org.quillmere.Quillmere"};

} // namespace quillmere
