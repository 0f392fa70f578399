#include "store/BlockStore.h"

#include "model/JsonCodec.h"
#include "model/TimeMath.h"
#include "store/AtomicFile.h"
#include "store/Confirmation.h"
#include "store/DayMoments.h"
#include "store/FreeTime.h"
#include "store/Stamping.h"
#include "store/StatsDB.h"

#include <QDir>
#include <QFile>
#include <QPointer>
#include <QStandardPaths>

#include <algorithm>

namespace quillmere {

namespace {

QString resolveFolder(const std::optional<QString>& folder) {
    return folder ? *folder : BlockStore::defaultFolder();
}

std::optional<QByteArray> readFile(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    return file.readAll();
}

// Position of the first element with this identifier; nothing when none has it.
template <typename T>
std::optional<std::size_t> indexOf(const std::vector<T>& items, const QUuid& id) {
    const auto it =
        std::find_if(items.begin(), items.end(), [&](const T& item) { return item.id == id; });
    if (it == items.end())
        return std::nullopt;
    return static_cast<std::size_t>(it - items.begin());
}

QString trimSpacesAndTabs(const QString& text) {
    qsizetype first = 0;
    qsizetype last = text.size();
    const auto blank = [](QChar c) { return c == u' ' || c == u'\t'; };
    while (first < last && blank(text.at(first)))
        ++first;
    while (last > first && blank(text.at(last - 1)))
        --last;
    return text.mid(first, last - first);
}

} // namespace

QString BlockStore::defaultFolder() {
    const QString base = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
    if (base.isEmpty())
        qFatal("no per-user data folder to keep Quillmere's files in");
    return QDir(base).filePath(QStringLiteral("Quillmere"));
}

BlockStore::BlockStore(AppClock& clock, FocusAids& aids, std::optional<QString> folder,
                       QObject* parent)
    : QObject(parent), m_clock(clock), m_aids(aids), m_folder(resolveFolder(folder)) {
    m_knownDay = todayKey();
    // A folder that cannot be made leaves every list empty and every save failing quietly.
    QDir().mkpath(m_folder);
    m_statsDB = std::make_unique<StatsDB>(statsFile());
    loadFiles();
    m_confirmedIDs = m_statsDB->confirmedIDs(todayKey());
    pruneOldDays();
    materializeRepeats();
    QPointer<BlockStore> self(this);
    m_clock.setOnTick([self] {
        if (self)
            self->refreshBlock();
    });
    m_clock.start();
}

// The clock's callback holds the store weakly and does nothing once it is gone.
BlockStore::~BlockStore() = default;

void BlockStore::loadFiles() {
    // A file that is missing or does not decode is never overwritten here: the list starts
    // empty and the file is replaced only by the next change of that list.
    const auto settingsBytes = readFile(settingsFile());
    const auto settings = settingsBytes ? json::decodeSettingsFile(*settingsBytes) : std::nullopt;
    setSettings(settings.value_or(Settings{}));

    if (const auto bytes = readFile(blocksFile()))
        if (auto blocks = json::decodeList<WorkBlock>(*bytes))
            m_blocks = std::move(*blocks);
    if (const auto bytes = readFile(rulesFile()))
        if (auto rules = json::decodeList<RepeatRule>(*bytes))
            m_rules = std::move(*rules);
    if (const auto bytes = readFile(plannedFile()))
        if (auto planned = json::decodeList<PlannedBlock>(*bytes))
            m_planned = std::move(*planned);
}

QString BlockStore::blocksFile() const {
    return blocksFile(m_folder);
}
QString BlockStore::blocksFile(const QString& folder) {
    return QDir(folder).filePath(QStringLiteral("blocks.json"));
}
QString BlockStore::rulesFile() const {
    return QDir(m_folder).filePath(QStringLiteral("rules.json"));
}
QString BlockStore::plannedFile() const {
    return QDir(m_folder).filePath(QStringLiteral("planned.json"));
}
QString BlockStore::settingsFile() const {
    return QDir(m_folder).filePath(QStringLiteral("settings.json"));
}
QString BlockStore::statsFile() const {
    return QDir(m_folder).filePath(QStringLiteral("stats.sqlite"));
}

QDateTime BlockStore::now() const {
    return m_clock.wallClock().now();
}

QString BlockStore::todayKey() const {
    return TimeMath::dayKey(now());
}

Minutes BlockStore::wallMinutes() const {
    return TimeMath::minutesOfDay(now());
}

// ---- published state and saving ----

// Persist, then announce: every change is on disk before any observer hears of it, so an
// observer that fails (or takes the process down) can never cost the user the change.
void BlockStore::commitBlocks(std::vector<WorkBlock> blocks) {
    m_blocks = std::move(blocks);
    ++m_listsVersion;
    save();
    Q_EMIT blocksChanged();
}

void BlockStore::commitRules(std::vector<RepeatRule> rules) {
    m_rules = std::move(rules);
    ++m_listsVersion;
    saveRules();
    Q_EMIT rulesChanged();
}

void BlockStore::commitRulesAndBlocks(std::vector<RepeatRule> rules,
                                      std::vector<WorkBlock> blocks) {
    m_rules = std::move(rules);
    m_blocks = std::move(blocks);
    ++m_listsVersion;
    saveRules();
    save();
    Q_EMIT rulesChanged();
    Q_EMIT blocksChanged();
}

void BlockStore::commitPlanned(std::vector<PlannedBlock> planned) {
    m_planned = std::move(planned);
    savePlanned();
    Q_EMIT plannedChanged();
}

void BlockStore::setSettings(const Settings& settings) {
    const bool changed = settings != m_settings;
    m_settings = settings;
    if (changed) {
        saveSettings();
        m_clock.requestTick();
    }
    Q_EMIT settingsChanged();
}

void BlockStore::save() {
    m_clock.requestTick();
    writeFileAtomically(blocksFile(), json::encodeList(m_blocks));
}

void BlockStore::saveRules() {
    writeFileAtomically(rulesFile(), json::encodeList(m_rules));
}

void BlockStore::savePlanned() {
    writeFileAtomically(plannedFile(), json::encodeList(m_planned));
}

void BlockStore::saveSettings() {
    writeFileAtomically(settingsFile(), json::encodeStateFile(json::encode(m_settings)));
}

void BlockStore::pruneOldDays() {
    const QDate cutoff = now().toLocalTime().date().addDays(-30);
    if (!cutoff.isValid())
        return;
    const QString cutoffKey = TimeMath::dayKey(cutoff.startOfDay());
    std::vector<WorkBlock> kept;
    kept.reserve(m_blocks.size());
    std::copy_if(m_blocks.begin(), m_blocks.end(), std::back_inserter(kept),
                 [&](const WorkBlock& b) { return b.day >= cutoffKey; });
    if (kept.size() == m_blocks.size())
        return;
    commitBlocks(std::move(kept));
}

// ---- queries and editing rules ----

std::vector<WorkBlock> BlockStore::todayBlocks() const {
    return dayBlocks(m_blocks, todayKey());
}

std::vector<WorkBlock> BlockStore::dayBlocks(const std::vector<WorkBlock>& blocks,
                                             const QString& key) {
    std::vector<WorkBlock> today;
    std::copy_if(blocks.begin(), blocks.end(), std::back_inserter(today),
                 [&](const WorkBlock& b) { return b.day == key; });
    std::stable_sort(today.begin(), today.end(), [](const WorkBlock& a, const WorkBlock& b) {
        if (a.startMinutes != b.startMinutes)
            return a.startMinutes < b.startMinutes;
        return a.durationMinutes < b.durationMinutes;
    });
    return today;
}

std::optional<WorkBlock> BlockStore::savedBlock(const QUuid& id) const {
    const auto index = indexOf(m_blocks, id);
    if (!index)
        return std::nullopt;
    return m_blocks[*index];
}

bool BlockStore::isInProgress(const WorkBlock& block) const {
    const auto stored = savedBlock(block.id);
    if (!stored)
        return false;
    // The day comes from the clock's last tick, the minute from the wall clock now: a block is
    // judged running on the day the rest of the program believes it is.
    const Minutes minute = wallMinutes();
    return stored->day == m_clock.today() && stored->startMinutes <= minute &&
           minute < stored->endMinutes();
}

bool BlockStore::isLocked(const WorkBlock& block) const {
    const auto stored = savedBlock(block.id);
    return stored && stored->kind == WorkKind::deep && isInProgress(block);
}

bool BlockStore::isFrozen(const WorkBlock& block) const {
    if (isLocked(block))
        return true;
    const auto stored = savedBlock(block.id);
    return stored && m_confirmedIDs.contains(stored->id);
}

void BlockStore::update(const WorkBlock& block) {
    const auto index = indexOf(m_blocks, block.id);
    if (!index)
        return;
    std::vector<WorkBlock> blocks = m_blocks;
    blocks[*index] = block;
    commitBlocks(std::move(blocks));
}

void BlockStore::add(const WorkBlock& block) {
    std::vector<WorkBlock> blocks = m_blocks;
    blocks.push_back(block);
    commitBlocks(std::move(blocks));
}

void BlockStore::deleteBlock(const QUuid& id) {
    std::vector<WorkBlock> blocks = m_blocks;
    std::erase_if(blocks, [&](const WorkBlock& b) { return b.id == id; });
    commitBlocks(std::move(blocks));
}

void BlockStore::clearToday() {
    const QString key = todayKey();
    QSet<QUuid> keep;
    for (const WorkBlock& block : todayBlocks())
        if (isFrozen(block))
            keep.insert(block.id);
    std::vector<WorkBlock> blocks = m_blocks;
    std::erase_if(blocks, [&](const WorkBlock& b) { return b.day == key && !keep.contains(b.id); });
    commitBlocks(std::move(blocks));
}

Minutes BlockStore::totalMinutesToday(WorkKind kind) const {
    Minutes total = 0;
    for (const WorkBlock& block : todayBlocks())
        if (block.kind == kind)
            total = checkedAdd(total, block.durationMinutes);
    return total;
}

// ---- free-time search ----

std::vector<MinuteRange>
BlockStore::reservedSlots(const Weekdays& repeatDays,
                          const std::optional<QUuid>& excludingRuleID) const {
    return FreeTime::reservedSlots(m_rules, repeatDays, excludingRuleID);
}

std::vector<MinuteRange> BlockStore::busyIntervals(const std::optional<QUuid>& excluding,
                                                   const Weekdays& repeatDays) const {
    std::optional<QUuid> ownRule;
    if (excluding)
        if (const auto stored = savedBlock(*excluding))
            ownRule = stored->repeatRuleID;
    std::vector<MinuteRange> busy;
    for (const WorkBlock& block : todayBlocks())
        if (!excluding || block.id != *excluding)
            busy.push_back({block.startMinutes, block.endMinutes()});
    const auto reserved = reservedSlots(repeatDays, ownRule);
    busy.insert(busy.end(), reserved.begin(), reserved.end());
    return busy;
}

const std::vector<MinuteRange>& BlockStore::sortedBusy(const std::optional<QUuid>& excluding,
                                                       const Weekdays& repeatDays) const {
    // The same day as the day key of todayBlocks(), without building the text.
    const QDate day = now().toLocalTime().date();
    BusyCache& cache = m_busyCache;
    if (!cache.valid || cache.listsVersion != m_listsVersion || cache.day != day ||
        cache.excluding != excluding || cache.repeatDays != repeatDays) {
        cache.sorted = busyIntervals(excluding, repeatDays);
        FreeTime::sortBusy(cache.sorted);
        cache.listsVersion = m_listsVersion;
        cache.day = day;
        cache.excluding = excluding;
        cache.repeatDays = repeatDays;
        cache.valid = true;
    }
    return cache.sorted;
}

std::optional<Minutes> BlockStore::nearestFreeStart(Minutes target, Minutes duration,
                                                    const std::optional<QUuid>& excluding,
                                                    const Weekdays& repeatDays) const {
    return FreeTime::nearestFreeStartSorted(sortedBusy(excluding, repeatDays), target, duration);
}

std::optional<MinuteRange> BlockStore::freeGap(Minutes containing,
                                               const std::optional<QUuid>& excluding,
                                               const Weekdays& repeatDays) const {
    return FreeTime::freeGap(sortedBusy(excluding, repeatDays), containing);
}

std::optional<WorkBlock> BlockStore::nextFreeBlock(WorkKind kind) const {
    const QDateTime instant = now();
    const auto placement =
        FreeTime::nextFreeQuarter(todayBlocks(), TimeMath::minutesOfDay(instant));
    if (!placement)
        return std::nullopt;
    return WorkBlock{QUuid::createUuid(),
                     defaultTitle(kind),
                     TimeMath::dayKey(instant),
                     placement->start,
                     placement->duration,
                     kind,
                     std::nullopt,
                     TimeMath::referenceSeconds(instant)};
}

// ---- repeat days ----

Weekdays BlockStore::repeatDays(const QUuid& blockID) const {
    const auto block = savedBlock(blockID);
    if (!block || !block->repeatRuleID)
        return {};
    for (const RepeatRule& rule : m_rules)
        if (rule.id == *block->repeatRuleID)
            return rule.weekdays;
    return {};
}

Weekdays BlockStore::conflictingRepeatDays(const WorkBlock& block) const {
    Weekdays result;
    for (const RepeatRule& rule : m_rules) {
        if (block.repeatRuleID && rule.id == *block.repeatRuleID)
            continue;
        if (rule.startMinutes < block.endMinutes() && block.startMinutes < rule.endMinutes())
            result.insert(rule.weekdays.begin(), rule.weekdays.end());
    }
    return result;
}

void BlockStore::setRepeat(const Weekdays& days, const QUuid& blockID) {
    const auto found = indexOf(m_blocks, blockID);
    if (!found)
        return;
    const std::size_t index = *found;
    const WorkBlock block = m_blocks[index];

    if (days.empty()) {
        if (!block.repeatRuleID)
            return;
        std::vector<RepeatRule> rules = m_rules;
        std::erase_if(rules, [&](const RepeatRule& r) { return r.id == *block.repeatRuleID; });
        std::vector<WorkBlock> blocks = m_blocks;
        blocks[index].repeatRuleID.reset();
        commitRulesAndBlocks(std::move(rules), std::move(blocks));
        return;
    }

    if (block.repeatRuleID) {
        if (const auto rule = indexOf(m_rules, *block.repeatRuleID)) {
            std::vector<RepeatRule> rules = m_rules;
            RepeatRule& changed = rules[*rule];
            changed.title = block.title;
            changed.kind = block.kind;
            changed.startMinutes = block.startMinutes;
            changed.durationMinutes = block.durationMinutes;
            changed.weekdays = days;
            commitRules(std::move(rules));
            return;
        }
    }

    // Today's block stands for today's occurrence, so the new rule counts today as stamped.
    const RepeatRule rule{QUuid::createUuid(),   block.title, block.kind, block.startMinutes,
                          block.durationMinutes, days,        todayKey()};
    std::vector<RepeatRule> rules = m_rules;
    rules.push_back(rule);
    std::vector<WorkBlock> blocks = m_blocks;
    blocks[index].repeatRuleID = rule.id;
    commitRulesAndBlocks(std::move(rules), std::move(blocks));
}

// ---- backlog ----

void BlockStore::addPlanned(const PlannedBlock& item) {
    std::vector<PlannedBlock> planned = m_planned;
    planned.push_back(item);
    commitPlanned(std::move(planned));
}

void BlockStore::updatePlanned(const PlannedBlock& item) {
    const auto index = indexOf(m_planned, item.id);
    if (!index)
        return;
    std::vector<PlannedBlock> planned = m_planned;
    planned[*index] = item;
    commitPlanned(std::move(planned));
}

void BlockStore::removePlanned(const QUuid& id) {
    if (!indexOf(m_planned, id))
        return;
    std::vector<PlannedBlock> planned = m_planned;
    std::erase_if(planned, [&](const PlannedBlock& p) { return p.id == id; });
    commitPlanned(std::move(planned));
}

// ---- the day's refresh ----

void BlockStore::materializeRepeats() {
    const QDateTime instant = now();
    std::vector<RepeatRule> rules = m_rules;
    StampResult result =
        stampRules(rules, todayBlocks(), TimeMath::dayKey(instant), TimeMath::weekday(instant),
                   TimeMath::referenceSeconds(instant));
    if (result.stamped.empty()) {
        if (result.rulesChanged)
            commitRules(std::move(rules));
        return;
    }
    std::vector<WorkBlock> blocks = m_blocks;
    blocks.insert(blocks.end(), result.stamped.begin(), result.stamped.end());
    if (result.rulesChanged)
        commitRulesAndBlocks(std::move(rules), std::move(blocks));
    else
        commitBlocks(std::move(blocks));
}

void BlockStore::refreshBlock() {
    if (m_clock.today() != m_knownDay) {
        m_knownDay = m_clock.today();
        materializeRepeats();
    }
    const Minutes minute = m_clock.nowMinutes();
    const std::vector<WorkBlock> today = todayBlocks();
    std::vector<WorkBlock> active;
    std::copy_if(today.begin(), today.end(), std::back_inserter(active), [&](const WorkBlock& b) {
        return b.startMinutes <= minute && minute < b.endMinutes();
    });

    std::optional<WorkKind> kind;
    if (!active.empty()) {
        const bool anyDeep = std::any_of(active.begin(), active.end(), [](const WorkBlock& b) {
            return b.kind == WorkKind::deep;
        });
        kind = anyDeep ? WorkKind::deep : WorkKind::shallow;
    }
    if (kind != m_currentKind) {
        m_currentKind = kind;
        Q_EMIT currentKindChanged(m_currentKind);
    }

    const auto firstWhere = [&](auto predicate) -> std::optional<WorkBlock> {
        const auto it = std::find_if(active.begin(), active.end(), predicate);
        if (it == active.end())
            return std::nullopt;
        return *it;
    };
    std::optional<WorkBlock> focus =
        firstWhere([](const WorkBlock& b) { return b.kind == WorkKind::deep; });
    if (!focus && !active.empty())
        focus = active.front();
    std::optional<QString> toolTip;
    if (focus) {
        const QString title = trimSpacesAndTabs(focus->title);
        toolTip = title.isEmpty() ? defaultTitle(focus->kind) : title;
    }
    m_aids.setToolTip(toolTip);

    m_wakeMoments.clear();
    for (const WorkBlock& block : today) {
        m_wakeMoments.insert(block.startMinutes);
        m_wakeMoments.insert(block.endMinutes());
    }

    updateNoise();
    updateChime(
        firstWhere([](const WorkBlock& b) { return FocusDriving::chimes(b.kind).has_value(); }));
    const auto nudgeBlock =
        firstWhere([](const WorkBlock& b) { return FocusDriving::isNudgeKind(b.kind); });
    updateNudge(nudgeBlock);
    updateSilence(nudgeBlock);
    updateReminder(minute);
    recordConfirmedBlocks();
    scheduleBoundaryRefresh(minute);
    Q_EMIT refreshed();
}

void BlockStore::scheduleBoundaryRefresh(Minutes after) {
    const auto next = m_wakeMoments.upper_bound(after);
    if (next == m_wakeMoments.end()) {
        m_clock.wake(std::nullopt);
        return;
    }
    const auto at = atMinute(TimeMath::startOfDay(now()), *next);
    if (!at) {
        m_clock.wake(std::nullopt);
        return;
    }
    // Just after the boundary minute has begun, so the tick sees the new minute.
    m_clock.wake(at->addMSecs(100));
}

void BlockStore::recordConfirmedBlocks() {
    const QDateTime instant = now();
    const QDateTime local = instant.toLocalTime();
    const qint64 today = local.date().toJulianDay();
    const qint64 minuteNow = local.time().hour() * 60 + local.time().minute();
    // Blocks share a handful of days; each day's midnight is worked out once per refresh.
    QHash<QString, std::optional<QDateTime>> midnights;
    bool confirmed = false;
    for (const WorkBlock& block : m_blocks) {
        if (m_confirmedIDs.contains(block.id))
            continue;
        // Local time arithmetic asks the C library, which looks at /etc/localtime each time;
        // a block whose end is days from now on the calendar cannot have ended within the
        // last seconds, whatever offsets lie between, so a month of blocks costs no such call.
        if (const auto date = TimeMath::dateFromDayKey(block.day)) {
            const qint64 calendarMinutes =
                (date->toJulianDay() - today) * minutesPerDay + block.endMinutes() - minuteNow;
            if (calendarMinutes > 3 * minutesPerDay || calendarMinutes < -3 * minutesPerDay)
                continue;
        }
        auto midnight = midnights.find(block.day);
        if (midnight == midnights.end())
            midnight = midnights.insert(block.day, TimeMath::startOfDay(block.day));
        if (!*midnight || !Confirmation::isDue(block, **midnight, instant))
            continue;
        m_statsDB->insert(Confirmation::row(block));
        m_confirmedIDs.insert(block.id);
        confirmed = true;
    }
    if (confirmed)
        Q_EMIT blocksConfirmed();
}

// ---- focus aids ----

void BlockStore::updateNoise() {
    if (m_currentKind == WorkKind::deep && m_settings.deepWorkNoise == DeepWorkNoise::brown)
        m_aids.playNoise(static_cast<float>(m_settings.noiseVolume));
    else
        m_aids.stopNoise();
}

void BlockStore::updateChime(const std::optional<WorkBlock>& active) {
    const QDateTime instant = now();
    FocusDriving::ChimeStep step = FocusDriving::stepChime(
        m_chimeTarget, active, instant, TimeMath::startOfDay(instant), m_settings.chimesEnabled);
    for (const QString& sound : step.sounds)
        m_aids.playSound(sound);
    m_chimeTarget = std::move(step.target);
}

void BlockStore::updateNudge(const std::optional<WorkBlock>& active) {
    if (m_settings.nudgesEnabled && active)
        m_aids.watchBanners(*active);
    else
        m_aids.stopWatchingBanners();
}

// Notifications are held back during the same work the banner nudge guards; a new day, a deleted
// block or the setting turned off all arrive here as a refresh without such a block.
void BlockStore::updateSilence(const std::optional<WorkBlock>& active) {
    if (m_settings.silenceNotifications && active)
        m_aids.silenceNotifications(*active);
    else
        m_aids.endSilence();
}

void BlockStore::updateReminder(Minutes minute) {
    if (!m_settings.remindersEnabled)
        return;
    for (const WorkBlock& block : todayBlocks()) {
        const auto lead = FocusDriving::reminderLead(block.kind);
        if (!lead)
            continue;
        const Minutes moment = block.startMinutes - *lead;
        m_wakeMoments.insert(moment);
        if (moment <= minute && minute < block.startMinutes)
            m_aids.offerReminder(block, minute);
    }
}

} // namespace quillmere
