#pragma once

class QAccessibleInterface;
class QObject;
class QString;

namespace quillmere::timeline {

// Assistive technology sees the painted day as a list whose items are the blocks, each with
// its title, its time range, its kind and its state (draft, running, locked, confirmed).
// Installed once as an accessibility factory; answers for the timeline's canvas only.
QAccessibleInterface* timelineAccessibleFactory(const QString& className, QObject* object);

} // namespace quillmere::timeline
