#pragma once

#include "model/AppClock.h"
#include "model/PlannedBlock.h"
#include "model/RepeatRule.h"
#include "model/Settings.h"
#include "model/WorkBlock.h"
#include "store/FocusAids.h"
#include "store/FocusDriving.h"
#include "store/MinuteRange.h"

#include <QDate>
#include <QDateTime>
#include <QObject>
#include <QSet>
#include <QString>
#include <QUuid>

#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <vector>

namespace quillmere {

class StatsDB;

// The one model object: every block of the kept days, the repeat rules, the backlog and the
// settings, each kept in its own JSON file and saved whole after every change. It refreshes on
// every tick of its clock, stamps repeat rules onto new days, confirms blocks whose end passes
// and drives the focus aids.
class BlockStore final : public QObject {
    Q_OBJECT

public:
    // `folder` defaults to the per-user data folder ("Quillmere" under the generic data
    // location, so ~/.local/share/Quillmere); tests pass a folder of their own.
    BlockStore(AppClock& clock, FocusAids& aids, std::optional<QString> folder = std::nullopt,
               QObject* parent = nullptr);
    ~BlockStore() override;

    // The per-user data folder, for readers that must not open a store of their own.
    static QString defaultFolder();

    // Published state. Every change of a list or the settings is saved first, then announced.
    const std::vector<WorkBlock>& blocks() const { return m_blocks; }
    std::optional<WorkKind> currentKind() const { return m_currentKind; }
    const std::vector<RepeatRule>& rules() const { return m_rules; }
    const std::vector<PlannedBlock>& planned() const { return m_planned; }
    const Settings& settings() const { return m_settings; }
    // Stores the value; only a real change saves settings.json and asks for a tick.
    void setSettings(const Settings& settings);

    AppClock& clock() const { return m_clock; }
    const QSet<QUuid>& confirmedIDs() const { return m_confirmedIDs; }
    QString folder() const { return m_folder; }
    QString blocksFile() const;
    static QString blocksFile(const QString& folder);
    QString rulesFile() const;
    QString plannedFile() const;
    QString settingsFile() const;
    QString statsFile() const;

    // Today's key and minute from the wall clock (not the clock's last published values).
    QString todayKey() const;
    Minutes wallMinutes() const;

    // Queries and editing rules. The predicates judge the stored copy of a block, so an
    // unsaved edit is judged by what is saved.
    std::vector<WorkBlock> todayBlocks() const;
    // The blocks of one day, by start and then by length, as `todayBlocks` lists them.
    static std::vector<WorkBlock> dayBlocks(const std::vector<WorkBlock>& blocks,
                                            const QString& key);
    bool isInProgress(const WorkBlock& block) const;
    bool isLocked(const WorkBlock& block) const;
    bool isFrozen(const WorkBlock& block) const;
    std::optional<WorkBlock> savedBlock(const QUuid& id) const;
    void update(const WorkBlock& block);
    void add(const WorkBlock& block);
    void deleteBlock(const QUuid& id);
    void clearToday();
    Minutes totalMinutesToday(WorkKind kind) const;

    // Free-time search on today's timeline.
    std::vector<MinuteRange> reservedSlots(const Weekdays& repeatDays,
                                           const std::optional<QUuid>& excludingRuleID) const;
    std::optional<Minutes> nearestFreeStart(Minutes target, Minutes duration,
                                            const std::optional<QUuid>& excluding,
                                            const Weekdays& repeatDays) const;
    std::optional<MinuteRange> freeGap(Minutes containing, const std::optional<QUuid>& excluding,
                                       const Weekdays& repeatDays) const;
    std::optional<WorkBlock> nextFreeBlock(WorkKind kind) const;

    // Weekly repetition of a block through its repeat rule.
    Weekdays repeatDays(const QUuid& blockID) const;
    Weekdays conflictingRepeatDays(const WorkBlock& block) const;
    void setRepeat(const Weekdays& days, const QUuid& blockID);

    // The backlog.
    void addPlanned(const PlannedBlock& item);
    void updatePlanned(const PlannedBlock& item);
    void removePlanned(const QUuid& id);

    // The day's heartbeat, run on every tick of the clock.
    void refreshBlock();

    // Writes blocks.json (after asking the clock for a tick).
    void save();

Q_SIGNALS:
    void blocksChanged();
    void currentKindChanged(std::optional<quillmere::WorkKind> kind);
    void rulesChanged();
    void plannedChanged();
    void settingsChanged();
    // After a refresh wrote newly confirmed rows to the statistics database.
    void blocksConfirmed();
    // The end of every refresh: what depends on the minute may have moved on.
    void refreshed();

private:
    // Each replaces a list, writes its file and only then announces the change.
    void commitBlocks(std::vector<WorkBlock> blocks);
    void commitRules(std::vector<RepeatRule> rules);
    void commitRulesAndBlocks(std::vector<RepeatRule> rules, std::vector<WorkBlock> blocks);
    void commitPlanned(std::vector<PlannedBlock> planned);
    void saveRules();
    void savePlanned();
    void saveSettings();
    void pruneOldDays();
    void materializeRepeats();
    std::vector<MinuteRange> busyIntervals(const std::optional<QUuid>& excluding,
                                           const Weekdays& repeatDays) const;
    const std::vector<MinuteRange>& sortedBusy(const std::optional<QUuid>& excluding,
                                               const Weekdays& repeatDays) const;
    void loadFiles();
    void scheduleBoundaryRefresh(Minutes after);
    void recordConfirmedBlocks();
    void updateNoise();
    void updateChime(const std::optional<WorkBlock>& active);
    void updateNudge(const std::optional<WorkBlock>& active);
    void updateSilence(const std::optional<WorkBlock>& active);
    void updateReminder(Minutes now);
    QDateTime now() const;

    AppClock& m_clock;
    FocusAids& m_aids;
    QString m_folder;
    std::vector<WorkBlock> m_blocks;
    std::optional<WorkKind> m_currentKind;
    std::vector<RepeatRule> m_rules;
    std::vector<PlannedBlock> m_planned;
    Settings m_settings;
    std::unique_ptr<StatsDB> m_statsDB;
    QString m_knownDay;
    std::optional<FocusDriving::ChimeTarget> m_chimeTarget;
    std::set<Minutes> m_wakeMoments;
    QSet<QUuid> m_confirmedIDs;

    // A drag asks the free-time search on every pointer move with the same block and weekdays,
    // so the day's sorted busy time is kept for the last such question until the blocks, the
    // rules or the day change. `m_listsVersion` counts every replacement of blocks or rules.
    struct BusyCache {
        bool valid = false;
        std::uint64_t listsVersion = 0;
        QDate day;
        std::optional<QUuid> excluding;
        Weekdays repeatDays;
        std::vector<MinuteRange> sorted;
    };
    std::uint64_t m_listsVersion = 0;
    mutable BusyCache m_busyCache;
};

} // namespace quillmere
