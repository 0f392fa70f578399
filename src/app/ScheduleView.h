#pragma once

#include "app/PlannedListView.h"
#include "model/RepeatRule.h"
#include "model/Settings.h"
#include "model/WorkBlock.h"

#include <QWidget>

#include <functional>
#include <optional>

class QAction;
class QActionGroup;
class QFrame;
class QLabel;
class QMenu;
class QSlider;
class QTimer;
class QToolButton;

namespace quillmere {

class AppClock;
class BlockEditorView;
class BlockStore;
class DayFullBanner;
class DayTimelineView;
class DismissLayer;
class SummaryChip;
class TimelineHost;
class VolumePopup;

// The whole panel: today's header with its menus, the backlog, the timeline and the
// editor. It owns the selection and the working copy of the selected block; the timeline and
// the editor change only the copy, and nothing reaches the store before a commit.
class ScheduleView final : public QWidget {
    Q_OBJECT

public:
    static constexpr int defaultDayFullMs = 2500;

    // `dayFullMs` exists so tests can watch the banner's timing without waiting seconds.
    ScheduleView(BlockStore& store, AppClock& clock, QWidget* parent = nullptr,
                 int dayFullMs = defaultDayFullMs);
    ~ScheduleView() override;

    std::optional<QUuid> selectedID() const { return m_selectedID; }
    std::optional<WorkBlock> working() const { return m_working; }
    std::optional<WorkBlock> selectedBlock() const;
    bool isDraft(const WorkBlock& block) const;
    bool showDayFull() const { return m_showDayFull; }
    bool showNoiseVolume() const { return m_showNoiseVolume; }
    const BacklogState& backlog() const { return m_backlog; }

    // Every change of the selection goes through here: a new id loads its saved copy unless
    // the working copy already is that block (how a draft survives its own selection).
    void setSelectedID(const std::optional<QUuid>& id);

    void startDraft(WorkKind kind);
    void schedulePlanned(const PlannedBlock& planned);
    void showDayFullBanner();
    bool commitPendingPlannedTitle();
    void collapseBacklog();
    void planABlock();
    void dismissBacklog();
    void commit();
    void deleteSelected();
    void clearToday();
    void openNoiseVolume();

Q_SIGNALS:
    void statisticsRequested();

protected:
    void changeEvent(QEvent* event) override;
    void showEvent(QShowEvent* event) override;

private:
    void paintGlyphs();
    QWidget* buildHeader();
    QWidget* buildBacklog();
    QWidget* buildTimeline(int dayFullMs);
    QWidget* buildEditor();
    void buildMenus();
    void refresh();
    void refreshHeader();
    void refreshMenus();
    void refreshStartAtLogin();
    void refreshEditor();
    void newDay();
    void hideDayFullBanner();
    void writeSettings(const std::function<void(Settings&)>& change);

    BlockStore& m_store;
    AppClock& m_clock;

    std::optional<QUuid> m_selectedID;
    std::optional<WorkBlock> m_working;
    Weekdays m_workingRepeatDays;
    bool m_showDayFull = false;
    BacklogState m_backlog;
    bool m_showNoiseVolume = false;
    bool m_refreshing = false;

    QLabel* m_date = nullptr;
    QLabel* m_hint = nullptr;
    SummaryChip* m_deepChip = nullptr;
    SummaryChip* m_shallowChip = nullptr;
    QToolButton* m_addButton = nullptr;
    QMenu* m_addMenu = nullptr;
    QToolButton* m_optionsButton = nullptr;
    QMenu* m_optionsMenu = nullptr;
    QMenu* m_noiseMenu = nullptr;
    QAction* m_chimes = nullptr;
    QAction* m_nudges = nullptr;
    QAction* m_reminders = nullptr;
    QAction* m_silence = nullptr;
    QActionGroup* m_noiseChoice = nullptr;
    QAction* m_startAtLogin = nullptr;
    VolumePopup* m_volume = nullptr;
    QWidget* m_backlogArea = nullptr;
    PlannedListView* m_planned = nullptr;
    DayTimelineView* m_timeline = nullptr;
    DismissLayer* m_dismiss = nullptr;
    TimelineHost* m_timelineHost = nullptr;
    DayFullBanner* m_banner = nullptr;
    QTimer* m_dayFullTimer = nullptr;
    QWidget* m_editorArea = nullptr;
    BlockEditorView* m_editor = nullptr;
};

} // namespace quillmere
