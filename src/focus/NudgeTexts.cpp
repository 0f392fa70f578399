#include "focus/NudgeTexts.h"

#include "model/TimeMath.h"
#include "model/WorkKind.h"

#include <algorithm>

namespace quillmere::nudgeTexts {

QString focusDetail(const WorkBlock& block, Minutes now) {
    const Minutes remaining = std::max<Minutes>(0, block.endMinutes() - now);
    const QString name = block.title.isEmpty() ? defaultTitle(block.kind) : block.title;
    return TimeMath::durationString(remaining) % QStringLiteral(" left in ") % name;
}

QString reminderTitle(const WorkBlock& block, Minutes now) {
    return defaultTitle(block.kind) % QStringLiteral(" in ") %
           TimeMath::durationString(block.startMinutes - now);
}

QString reminderDetail(const WorkBlock& block) {
    const QString range = TimeMath::rangeString(block.startMinutes, block.endMinutes());
    if (block.title.isEmpty())
        return range;
    return block.title % QStringLiteral("  ·  ") % range;
}

QString digestDetail(const QStringList& applications) {
    const auto count = applications.size();
    QString text = QString::number(count) + (count == 1 ? QStringLiteral(" notification")
                                                        : QStringLiteral(" notifications"));
    QStringList names;
    for (const QString& name : applications)
        if (!name.trimmed().isEmpty() && !names.contains(name.trimmed()))
            names.append(name.trimmed());
    if (!names.isEmpty())
        text += QStringLiteral(" · ") + names.join(QStringLiteral(", "));
    return text;
}

} // namespace quillmere::nudgeTexts
