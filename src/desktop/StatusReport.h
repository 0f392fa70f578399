#pragma once

#include "model/Minutes.h"
#include "model/WorkBlock.h"

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <QVariantMap>

#include <vector>

namespace quillmere {

// What is under way right now, in the plain values the bus publishes and the command line
// prints. No kind means nothing runs; a start of -1 means there is no such block.
struct StatusReport {
    QString kind; // "deep", "shallow" or empty
    QString title;
    int start = -1;
    int end = -1;
    int minutesLeft = -1;
    QString nextTitle;
    QString nextKind;
    int nextStart = -1;

    bool isRunning() const { return !kind.isEmpty() && start >= 0 && end > start; }
    bool hasNext() const { return nextStart >= 0; }
    bool operator==(const StatusReport&) const = default;
};

// The block the program is about at `now` among today's blocks (sorted by start): a running
// deep block before a running shallow one, as the tray's tooltip picks it, and the first block
// that starts later today.
StatusReport statusAt(const std::vector<WorkBlock>& todaySorted, Minutes now);

// The same from the files in `folder` alone, read-only, for when the program is not running.
StatusReport statusFromFiles(const QString& folder, const QDateTime& now);

// The report as bus properties and back; names missing from the map keep their defaults.
QVariantMap statusProperties(const StatusReport& report);
void applyStatusProperties(StatusReport& report, const QVariantMap& properties);

// One line for people: "Deep work: Write chapter, 35 m left".
QString statusLine(const StatusReport& report);
// One compact JSON object for status bars: text, tooltip, class and percentage done.
QByteArray statusBarLine(const StatusReport& report);

} // namespace quillmere
