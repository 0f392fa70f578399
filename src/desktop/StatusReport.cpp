#include "desktop/StatusReport.h"

#include "model/JsonCodec.h"
#include "model/TimeMath.h"
#include "store/BlockStore.h"

#include <QFile>

#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

namespace quillmere {

namespace {

const QString kindKey = QStringLiteral("CurrentKind");
const QString titleKey = QStringLiteral("Title");
const QString startKey = QStringLiteral("Start");
const QString endKey = QStringLiteral("End");
const QString leftKey = QStringLiteral("MinutesLeft");
const QString nextTitleKey = QStringLiteral("NextTitle");
const QString nextKindKey = QStringLiteral("NextKind");
const QString nextStartKey = QStringLiteral("NextStart");

QString shownTitle(const WorkBlock& block) {
    const QString title = block.title.trimmed();
    return title.isEmpty() ? defaultTitle(block.kind) : title;
}

QString kindLabel(const QString& kind) {
    return kind == rawValue(WorkKind::deep) ? QStringLiteral("Deep work")
                                            : QStringLiteral("Shallow work");
}

QString leftText(const StatusReport& r) {
    return TimeMath::durationString(r.minutesLeft) + QStringLiteral(" left");
}

QString nextText(const StatusReport& r) {
    return r.nextTitle + QStringLiteral(" at ") + TimeMath::timeString(r.nextStart);
}

} // namespace

StatusReport statusAt(const std::vector<WorkBlock>& todaySorted, Minutes now) {
    StatusReport report;
    const WorkBlock* running = nullptr;
    for (const WorkBlock& block : todaySorted) {
        if (block.startMinutes <= now && now < block.endMinutes() &&
            (!running || (running->kind != WorkKind::deep && block.kind == WorkKind::deep)))
            running = &block;
        if (block.startMinutes > now && report.nextStart < 0) {
            report.nextTitle = shownTitle(block);
            report.nextKind = rawValue(block.kind);
            report.nextStart = static_cast<int>(block.startMinutes);
        }
    }
    if (running) {
        report.kind = rawValue(running->kind);
        report.title = shownTitle(*running);
        report.start = static_cast<int>(running->startMinutes);
        report.end = static_cast<int>(running->endMinutes());
        report.minutesLeft = static_cast<int>(running->endMinutes() - now);
    }
    return report;
}

StatusReport statusFromFiles(const QString& folder, const QDateTime& now) {
    QFile file(BlockStore::blocksFile(folder));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const auto blocks = json::decodeList<WorkBlock>(file.readAll());
    if (!blocks)
        return {};
    return statusAt(BlockStore::dayBlocks(*blocks, TimeMath::dayKey(now)),
                    TimeMath::minutesOfDay(now));
}

QVariantMap statusProperties(const StatusReport& r) {
    return {{kindKey, r.kind},         {titleKey, r.title},        {startKey, r.start},
            {endKey, r.end},           {leftKey, r.minutesLeft},   {nextTitleKey, r.nextTitle},
            {nextKindKey, r.nextKind}, {nextStartKey, r.nextStart}};
}

void applyStatusProperties(StatusReport& r, const QVariantMap& p) {
    const auto text = [&](const QString& key, QString& field) {
        if (p.contains(key))
            field = p.value(key).toString();
    };
    const auto number = [&](const QString& key, int& field) {
        if (p.contains(key))
            field = p.value(key).toInt();
    };
    text(kindKey, r.kind);
    text(titleKey, r.title);
    number(startKey, r.start);
    number(endKey, r.end);
    number(leftKey, r.minutesLeft);
    text(nextTitleKey, r.nextTitle);
    text(nextKindKey, r.nextKind);
    number(nextStartKey, r.nextStart);
}

QString statusLine(const StatusReport& r) {
    if (r.isRunning())
        return kindLabel(r.kind) + QStringLiteral(": ") + r.title + QStringLiteral(", ") +
               leftText(r);
    if (r.hasNext())
        return QStringLiteral("Idle, next: ") + nextText(r);
    return QStringLiteral("Idle");
}

QByteArray statusBarLine(const StatusReport& r) {
    QJsonObject line;
    if (r.isRunning()) {
        const int length = r.end - r.start;
        const int done = (length - r.minutesLeft) * 100 / length;
        line[QStringLiteral("text")] = QString(r.title + QStringLiteral(" · ") + leftText(r));
        line[QStringLiteral("tooltip")] = QString(
            kindLabel(r.kind) + QStringLiteral(": ") + r.title + QStringLiteral(", ") +
            TimeMath::timeString(r.start) + QStringLiteral(" – ") + TimeMath::timeString(r.end) +
            (r.hasNext() ? QStringLiteral("\nNext: ") + nextText(r) : QString()));
        line[QStringLiteral("class")] = r.kind;
        line[QStringLiteral("percentage")] = std::clamp(done, 0, 100);
    } else {
        line[QStringLiteral("text")] =
            r.hasNext() ? QString(QStringLiteral("Next: ") + nextText(r)) : QStringLiteral("Idle");
        line[QStringLiteral("tooltip")] = statusLine(r);
        line[QStringLiteral("class")] = QStringLiteral("idle");
        line[QStringLiteral("percentage")] = 0;
    }
    return QJsonDocument(line).toJson(QJsonDocument::Compact);
}

} // namespace quillmere
