#pragma once

namespace quillmere {

// Whether windows can be see-through here: always on Wayland, on X11 only while a compositing
// manager owns the screen's compositing selection.
bool compositorPresent();

} // namespace quillmere
