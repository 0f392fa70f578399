#include "stats/SampleRecord.h"

#include "model/JsonCodec.h"
#include "stats/StatsContent.h"
#include "store/AtomicFile.h"
#include "store/Confirmation.h"
#include "store/StatsDB.h"

#include <QDir>

#include <random>
#include <vector>

namespace quillmere {

namespace {

const char* const deepTitles[] = {"Thesis chapter",      "Write the report", "Design review",
                                  "Refactor the parser", "Read papers",      "Deep Work"};
const char* const shallowTitles[] = {"Email", "Team sync", "Expenses", "Shallow Work",
                                     "Plan tomorrow"};

const QUuid sampleNamespace(QStringLiteral("{5b8f0c2e-2d3a-4f4e-9c61-7e0a1d9b3c42}"));

// A plain generator of our own: the standard distributions differ between libraries, and the
// README's picture should not.
struct Dice {
    std::mt19937 engine;
    int roll(int sides) { return static_cast<int>(engine() % static_cast<unsigned>(sides)); }
};

std::vector<WorkBlock> planFor(const QDate& day, Dice& dice) {
    std::vector<WorkBlock> plan;
    const bool weekend = day.dayOfWeek() >= Qt::Saturday;
    const int count = weekend ? 5 + dice.roll(3) : 10 + dice.roll(3);
    Minutes start = 8 * 60 + 15 * dice.roll(4);
    for (int i = 0; i < count && start < 22 * 60; ++i) {
        const bool deep = dice.roll(4) == 0;
        const Minutes duration = deep ? 60 + 15 * dice.roll(5) : 15 + 15 * dice.roll(3);
        const char* title = deep ? deepTitles[dice.roll(6)] : shallowTitles[dice.roll(5)];
        const QUuid id = QUuid::createUuidV5(sampleNamespace,
                                             day.toString(Qt::ISODate) + u'/' + QString::number(i));
        plan.push_back({id, QString::fromUtf8(title), day.toString(Qt::ISODate), start, duration,
                        deep ? WorkKind::deep : WorkKind::shallow, std::nullopt, std::nullopt});
        start += duration + 15 * dice.roll(3);
    }
    return plan;
}

} // namespace

int writeSampleRecord(const QString& folder, const QDate& today, int days) {
    if (!QDir().mkpath(folder))
        return -1;
    const QString path = statsDatabasePath(folder);
    QFile::remove(path);
    StatsDB db{path}; // the store's own schema and insert
    if (!db.isOpen())
        return -1;
    std::vector<ConfirmedBlock> rows;

    Dice dice{std::mt19937(20240304)};
    std::vector<WorkBlock> kept;
    for (QDate day = today.addDays(1 - days); day <= today; day = day.addDays(1)) {
        const std::vector<WorkBlock> plan = planFor(day, dice);
        const bool dayOff = dice.roll(12) == 0;
        if (day.daysTo(today) < 14)
            kept.insert(kept.end(), plan.begin(), plan.end());
        for (const WorkBlock& block : plan) {
            // Most of a plan gets done; today only up to the middle of the afternoon.
            if (dayOff || dice.roll(8) == 0 || (day == today && block.endMinutes() > 15 * 60))
                continue;
            rows.push_back(Confirmation::row(block));
        }
    }
    const int added = db.insertAll(rows);
    if (added != static_cast<int>(rows.size()) ||
        !writeFileAtomically(QDir(folder).filePath(QStringLiteral("blocks.json")),
                             json::encodeList(kept)))
        return -1;
    return added;
}

} // namespace quillmere
