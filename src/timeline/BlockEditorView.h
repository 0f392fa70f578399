#pragma once

#include "model/Minutes.h"
#include "model/RepeatRule.h"
#include "model/WorkBlock.h"

#include <QAbstractButton>
#include <QSpinBox>
#include <QString>
#include <QWidget>

#include <algorithm>
#include <array>

class QFrame;
class QLabel;
class QLineEdit;
class QPushButton;
class QToolButton;
class QVBoxLayout;

namespace quillmere {

// A closed range of minutes: both bounds are allowed values.
struct ClosedMinuteRange {
    Minutes lower = 0;
    Minutes upper = 0;

    Minutes clamp(Minutes value) const { return std::min(std::max(value, lower), upper); }
    bool operator==(const ClosedMinuteRange&) const = default;
};

// Everything the host decides about the block being edited. The editor keeps nothing else.
struct BlockEditorInput {
    WorkBlock block;
    bool isDraft = false;
    bool isLocked = false;
    bool isConfirmed = false;
    ClosedMinuteRange startRange;
    ClosedMinuteRange durationRange;
    Weekdays repeatDays;
    Weekdays conflictDays;

    bool isFrozen() const { return isLocked || isConfirmed; }
};

// What each control writes, as plain functions so the rules can be checked without widgets.
namespace editor {

WorkBlock withTitle(WorkBlock block, const QString& title);
// A title still reading as the old kind's default (or empty) follows the kind; typed ones stay.
WorkBlock withKind(WorkBlock block, WorkKind kind);
WorkBlock withStart(WorkBlock block, Minutes start, ClosedMinuteRange range);
WorkBlock withDuration(WorkBlock block, Minutes duration, ClosedMinuteRange range);
Weekdays toggled(Weekdays days, int day);

QString weekdayName(int day); // 1 Sunday … 7 Saturday; anything else stops the program
QString weekdayLetter(int day);
QString dayHelp(int day, bool conflicting);
QString deleteHelp(const BlockEditorInput& input);
QString statusText(const BlockEditorInput& input);
// The symbol shown before the status text, empty when there is none.
QString statusSymbol(const BlockEditorInput& input);

} // namespace editor

// One circle of the repeat row: the day's letter, filled in the kind colour when chosen, ringed
// and faded when another repeating block already holds this time on that day.
class DayToggle final : public QAbstractButton {
    Q_OBJECT

public:
    explicit DayToggle(int day, QWidget* parent = nullptr);

    int day() const { return m_day; }
    void setLook(bool chosen, bool conflicting, WorkKind kind);
    bool isChosen() const { return m_chosen; }
    bool isConflicting() const { return m_conflicting; }

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    int m_day;
    bool m_chosen = false;
    bool m_conflicting = false;
    WorkKind m_kind = WorkKind::deep;
};

// A time of day or a length, stepped by a quarter hour with its arrows, the wheel or the
// arrow keys and read as text by screen readers; never typed into. A step stops at the
// range's bounds.
class MinuteStepper final : public QSpinBox {
    Q_OBJECT

public:
    enum class Shows { time, duration };
    explicit MinuteStepper(Shows shows, QWidget* parent = nullptr);

    // Shows a value without announcing it as a step.
    void setMinutes(Minutes value, ClosedMinuteRange range);
    void setWidestLabel(const QString& widest);
    QString label() const { return text(); }

Q_SIGNALS:
    void stepped(quillmere::Minutes value);

protected:
    QString textFromValue(int value) const override;
    void paintEvent(QPaintEvent* event) override;
    int valueFromText(const QString&) const override { return value(); }

private:
    Shows m_shows;
};

// The small form under the timeline for the selected block. It edits nothing itself: each
// control hands an edited copy to the host, which answers with a new input.
class BlockEditorView final : public QWidget {
    Q_OBJECT

public:
    explicit BlockEditorView(QWidget* parent = nullptr);

    void setInput(const BlockEditorInput& input);
    const BlockEditorInput& input() const { return m_input; }

Q_SIGNALS:
    void changed(const quillmere::WorkBlock& block);
    void repeatChanged(const quillmere::Weekdays& days);
    void commitRequested();
    void deleteRequested();

protected:
    void changeEvent(QEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void buildTitle(QVBoxLayout* stack);
    void buildKinds(QVBoxLayout* stack);
    void buildSteppers(QVBoxLayout* stack);
    void buildRepeatRow(QVBoxLayout* stack);
    void buildStatusRow(QVBoxLayout* stack);
    void buildButtons(QVBoxLayout* stack);
    void saveOnReturn();
    void orderTabs();
    QToolButton* kindSegment(WorkKind kind) const;
    void emitChange(const WorkBlock& block);
    void commit();
    void refreshControls();
    void refreshIcons();
    void restyle();

    BlockEditorInput m_input;
    QLineEdit* m_title;
    QToolButton* m_deepSegment;
    QToolButton* m_shallowSegment;
    QFrame* m_kindTrack;
    MinuteStepper* m_start;
    MinuteStepper* m_duration;
    std::array<DayToggle*, 7> m_days{};
    QLabel* m_statusIcon;
    QLabel* m_statusText;
    QToolButton* m_delete;
    QPushButton* m_save;
};

} // namespace quillmere
