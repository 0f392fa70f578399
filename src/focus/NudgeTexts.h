#pragma once

#include "model/Minutes.h"
#include "model/WorkBlock.h"

#include <QString>
#include <QStringList>

// The words on the two nudges, apart from the timers and the card so they can be read at a
// glance and checked exactly.
namespace quillmere::nudgeTexts {

inline const QString stayFocused = QStringLiteral("Stay focused");

// "1 h 5 m left in Deep Work"; a block already over has "0 m" left.
QString focusDetail(const WorkBlock& block, Minutes now);

// "Deep Work in 5 m": the kind always, even for a titled block; a start already passed shows
// the negative minutes as they are.
QString reminderTitle(const WorkBlock& block, Minutes now);
// "Write report  ·  9:00 AM – 10:30 AM", or the range alone for an untitled block.
QString reminderDetail(const WorkBlock& block);

// The card after deep work during which notifications were held back.
inline const QString whileYouFocused = QStringLiteral("While you focused");
// "3 notifications · Mail, Chat": how many arrived and from which applications, each named
// once in the order it first came; unnamed ones count without a name.
QString digestDetail(const QStringList& applications);

} // namespace quillmere::nudgeTexts
