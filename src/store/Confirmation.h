#pragma once

#include "model/WorkBlock.h"

#include <QDateTime>

namespace quillmere::Confirmation {

// A block is confirmed only by a refresh that runs within this long after its end.
inline constexpr qint64 windowMs = 5000;

// Whether a refresh at `now` confirms the block, whose day began at `midnight`: its end has
// passed less than five seconds ago, and it was not created at or after that end (a block
// drawn over past time never is).
bool isDue(const WorkBlock& block, const QDateTime& midnight, const QDateTime& now);

// The database row: an empty title is stored as the kind's name; spaces are kept.
ConfirmedBlock row(const WorkBlock& block);

} // namespace quillmere::Confirmation
