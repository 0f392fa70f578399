#include "timeline/BlockEditorView.h"

#include "model/TimeMath.h"
#include "ui/Caption.h"
#include "ui/Glyphs.h"
#include "ui/KindColors.h"
#include "ui/Typography.h"

#include <QButtonGroup>
#include <QEvent>
#include <QFrame>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QPushButton>
#include <QShortcut>
#include <QToolButton>
#include <QVBoxLayout>

#include "ui/Palette.h"

namespace quillmere {

namespace editor {

WorkBlock withTitle(WorkBlock block, const QString& title) {
    block.title = title;
    return block;
}

WorkBlock withKind(WorkBlock block, WorkKind kind) {
    if (block.title.isEmpty() || block.title == defaultTitle(block.kind))
        block.title = defaultTitle(kind);
    block.kind = kind;
    return block;
}

WorkBlock withStart(WorkBlock block, Minutes start, ClosedMinuteRange range) {
    block.startMinutes = range.clamp(start);
    return block;
}

WorkBlock withDuration(WorkBlock block, Minutes duration, ClosedMinuteRange range) {
    block.durationMinutes = range.clamp(duration);
    return block;
}

Weekdays toggled(Weekdays days, int day) {
    if (!days.erase(day))
        days.insert(day);
    return days;
}

QString weekdayName(int day) {
    static const std::array<QString, 7> names{
        QStringLiteral("Sunday"),    QStringLiteral("Monday"),   QStringLiteral("Tuesday"),
        QStringLiteral("Wednesday"), QStringLiteral("Thursday"), QStringLiteral("Friday"),
        QStringLiteral("Saturday")};
    if (day < 1 || day > 7)
        qFatal("weekday %d out of range", day);
    return names[static_cast<size_t>(day - 1)];
}

QString weekdayLetter(int day) {
    static const QString letters = QStringLiteral("SMTWTFS");
    if (day < 1 || day > 7)
        qFatal("weekday %d out of range", day);
    return letters.mid(day - 1, 1);
}

QString dayHelp(int day, bool conflicting) {
    if (conflicting)
        return QStringLiteral("Another repeating block covers this time on ") + weekdayName(day) +
               u's';
    return QStringLiteral("Repeat on ") + weekdayName(day) + u's';
}

QString deleteHelp(const BlockEditorInput& input) {
    if (input.isLocked)
        return QStringLiteral("Deep work in progress — it can't be deleted");
    if (input.isConfirmed)
        return QStringLiteral("Confirmed — it can't be deleted");
    if (input.isDraft)
        return QStringLiteral("Discard draft");
    return QStringLiteral("Delete block");
}

QString statusText(const BlockEditorInput& input) {
    if (input.isLocked)
        return QStringLiteral("Deep work in progress — locked");
    if (input.isConfirmed)
        return QStringLiteral("Confirmed — part of the day's record");
    if (input.isDraft)
        return QStringLiteral("Draft — not saved yet");
    return TimeMath::rangeString(input.block.startMinutes, input.block.endMinutes());
}

QString statusSymbol(const BlockEditorInput& input) {
    if (input.isLocked)
        return QStringLiteral("lock.fill");
    if (input.isConfirmed)
        return QStringLiteral("checkmark");
    return {};
}

} // namespace editor

namespace {

constexpr int daySize = 18;

} // namespace

DayToggle::DayToggle(int day, QWidget* parent) : QAbstractButton(parent), m_day(day) {
    setText(editor::weekdayLetter(day));
    setCursor(Qt::PointingHandCursor);
    setFocusPolicy(Qt::NoFocus);
    setFixedSize(daySize, daySize);
    setToolTip(editor::dayHelp(day, false));
    // Read aloud the day, not its letter; the help says what a press does.
    setAccessibleName(editor::weekdayName(day));
    setAccessibleDescription(toolTip());
}

void DayToggle::setLook(bool chosen, bool conflicting, WorkKind kind) {
    if (chosen == m_chosen && conflicting == m_conflicting && kind == m_kind)
        return;
    m_chosen = chosen;
    m_conflicting = conflicting;
    m_kind = kind;
    setToolTip(editor::dayHelp(m_day, conflicting));
    setAccessibleName(editor::weekdayName(m_day) +
                      (chosen ? QStringLiteral(", repeating") : QString()));
    setAccessibleDescription(toolTip());
    update();
}

QSize DayToggle::sizeHint() const {
    return {daySize, daySize};
}

void DayToggle::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    if (m_conflicting)
        p.setOpacity(0.5);
    const QRectF circle(0, 0, daySize, daySize);
    // The secondary colour carries its own transparency; the fill's 0.15 comes on top of it.
    const QColor secondary = ui::secondaryColor(palette());
    p.setPen(Qt::NoPen);
    p.setBrush(m_chosen ? ui::kindColor(m_kind) : ui::secondaryColor(palette(), 0.15));
    p.drawEllipse(circle);
    if (m_conflicting) {
        p.setPen(QPen(secondary, 1));
        p.setBrush(Qt::NoBrush);
        p.drawEllipse(circle.adjusted(0.5, 0.5, -0.5, -0.5));
    }
    p.setFont(ui::systemFont(9, QFont::DemiBold));
    p.setPen(m_chosen ? QColor(Qt::white) : secondary);
    p.drawText(circle, Qt::AlignCenter, text());
}

MinuteStepper::MinuteStepper(QWidget* parent)
    : QWidget(parent), m_label(new QLabel(this)), m_down(new QToolButton(this)),
      m_up(new QToolButton(this)) {
    m_label->setFont(ui::font(ui::TextStyle::callout));
    m_label->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    m_down->setArrowType(Qt::DownArrow);
    m_up->setArrowType(Qt::UpArrow);
    m_down->setObjectName(QStringLiteral("down"));
    m_up->setObjectName(QStringLiteral("up"));
    m_down->setAccessibleName(QStringLiteral("A quarter hour less"));
    m_up->setAccessibleName(QStringLiteral("A quarter hour more"));
    for (QToolButton* b : {m_down, m_up}) {
        b->setAutoRaise(true);
        b->setFixedSize(18, 16);
        b->setFocusPolicy(Qt::NoFocus);
        b->setAutoRepeat(true);
    }
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(4);
    row->addWidget(m_label);
    row->addWidget(m_down);
    row->addWidget(m_up);
    connect(m_down, &QToolButton::clicked, this, [this] { step(-gridStep); });
    connect(m_up, &QToolButton::clicked, this, [this] { step(gridStep); });
}

void MinuteStepper::setWidestLabel(const QString& widest) {
    // Without tabular digits the row would twitch with every step; a fixed width keeps it still.
    m_label->setMinimumWidth(m_label->fontMetrics().horizontalAdvance(widest) + 2);
}

void MinuteStepper::setValue(Minutes value, ClosedMinuteRange range, const QString& label) {
    m_value = value;
    m_range = range;
    m_label->setText(label);
    m_down->setEnabled(value > range.lower);
    m_up->setEnabled(value < range.upper);
}

QString MinuteStepper::label() const {
    return m_label->text();
}

void MinuteStepper::step(Minutes delta) {
    Q_EMIT stepped(checkedAdd(m_value, delta));
}

BlockEditorView::BlockEditorView(QWidget* parent)
    : QWidget(parent), m_title(new QLineEdit(this)), m_deepSegment(new QToolButton(this)),
      m_shallowSegment(new QToolButton(this)), m_kindTrack(new QFrame(this)),
      m_start(new MinuteStepper(this)), m_duration(new MinuteStepper(this)),
      m_statusIcon(new QLabel(this)), m_statusText(new QLabel(this)),
      m_delete(new QToolButton(this)), m_save(new QPushButton(QStringLiteral("Save"), this)) {
    auto* stack = new QVBoxLayout(this);
    stack->setSpacing(8);
    buildTitle(stack);
    buildKinds(stack);
    buildSteppers(stack);
    buildRepeatRow(stack);
    buildStatusRow(stack);
    buildButtons(stack);
    saveOnReturn();
    refreshControls();
}

void BlockEditorView::buildTitle(QVBoxLayout* stack) {
    m_title->setPlaceholderText(QStringLiteral("Title"));
    m_title->setClearButtonEnabled(false);
    stack->addWidget(m_title);
    connect(m_title, &QLineEdit::textEdited, this,
            [this](const QString& text) { emitChange(editor::withTitle(m_input.block, text)); });
}

void BlockEditorView::buildKinds(QVBoxLayout* stack) {
    m_kindTrack->setObjectName(QStringLiteral("kinds"));
    auto* kinds = new QHBoxLayout(m_kindTrack);
    kinds->setContentsMargins(2, 2, 2, 2);
    kinds->setSpacing(2);
    auto* group = new QButtonGroup(this);
    for (WorkKind kind : allWorkKinds) {
        QToolButton* segment = kindSegment(kind);
        segment->setText(defaultTitle(kind));
        segment->setCheckable(true);
        segment->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
        // Reached with Tab, chosen with Space; a click does not pull the focus off the title.
        segment->setFocusPolicy(Qt::TabFocus);
        segment->setParent(m_kindTrack);
        group->addButton(segment);
        kinds->addWidget(segment);
        connect(segment, &QToolButton::clicked, this, [this, kind] {
            if (m_input.block.kind != kind)
                emitChange(editor::withKind(m_input.block, kind));
        });
    }
    group->setExclusive(true);
    stack->addWidget(m_kindTrack);
}

void BlockEditorView::buildSteppers(QVBoxLayout* stack) {
    auto addRow = [&](const QString& caption, MinuteStepper* stepper) {
        auto* row = new QHBoxLayout;
        row->addWidget(ui::captionLabel(caption, this));
        row->addStretch(1);
        row->addWidget(stepper);
        stack->addLayout(row);
    };
    addRow(QStringLiteral("Start"), m_start);
    addRow(QStringLiteral("Duration"), m_duration);
    m_start->setWidestLabel(QStringLiteral("12:45 PM"));
    m_duration->setWidestLabel(QStringLiteral("23 h 45 m"));
    connect(m_start, &MinuteStepper::stepped, this, [this](Minutes v) {
        emitChange(editor::withStart(m_input.block, v, m_input.startRange));
    });
    connect(m_duration, &MinuteStepper::stepped, this, [this](Minutes v) {
        emitChange(editor::withDuration(m_input.block, v, m_input.durationRange));
    });
    m_start->setObjectName(QStringLiteral("start"));
    m_duration->setObjectName(QStringLiteral("duration"));
}

void BlockEditorView::buildRepeatRow(QVBoxLayout* stack) {
    auto* repeatRow = new QHBoxLayout;
    repeatRow->addWidget(ui::captionLabel(QStringLiteral("Repeat"), this));
    repeatRow->addStretch(1);
    auto* dayRow = new QHBoxLayout;
    dayRow->setSpacing(3);
    for (int day = 1; day <= 7; ++day) {
        auto* toggle = new DayToggle(day, this);
        m_days[static_cast<size_t>(day - 1)] = toggle;
        dayRow->addWidget(toggle);
        connect(toggle, &DayToggle::clicked, this, [this, day] {
            m_input.repeatDays = editor::toggled(m_input.repeatDays, day);
            refreshControls();
            Q_EMIT repeatChanged(m_input.repeatDays);
        });
    }
    repeatRow->addLayout(dayRow);
    stack->addLayout(repeatRow);
}

void BlockEditorView::buildStatusRow(QVBoxLayout* stack) {
    auto* statusRow = new QHBoxLayout;
    statusRow->setSpacing(4);
    m_statusText->setFont(ui::font(ui::TextStyle::caption));
    statusRow->addWidget(m_statusIcon);
    statusRow->addWidget(m_statusText, 1);
    stack->addLayout(statusRow);
    m_statusText->setObjectName(QStringLiteral("status"));
}

void BlockEditorView::buildButtons(QVBoxLayout* stack) {
    auto* buttons = new QHBoxLayout;
    m_delete->setAutoRaise(true);
    m_delete->setFocusPolicy(Qt::NoFocus);
    m_delete->setIconSize(QSize(16, 16));
    buttons->addWidget(m_delete);
    buttons->addStretch(1);
    m_save->setDefault(true);
    m_save->setAutoDefault(false);
    buttons->addWidget(m_save);
    stack->addLayout(buttons);
    connect(m_delete, &QToolButton::clicked, this, &BlockEditorView::deleteRequested);
    connect(m_save, &QPushButton::clicked, this, &BlockEditorView::commit);
    m_delete->setObjectName(QStringLiteral("delete"));
    m_delete->setAccessibleName(QStringLiteral("Delete"));
}

void BlockEditorView::saveOnReturn() {
    // Return saves from anywhere in the window that shows the form (right after drawing a
    // block the focus is on the timeline); a field that gives Return a meaning of its own
    // claims it first through its shortcut override. The title field's own signal covers key
    // presses sent to it directly.
    connect(m_title, &QLineEdit::returnPressed, this, &BlockEditorView::commit);
    for (int key : {Qt::Key_Return, Qt::Key_Enter}) {
        auto* shortcut = new QShortcut(QKeySequence(key), this);
        shortcut->setContext(Qt::WindowShortcut);
        connect(shortcut, &QShortcut::activated, this, &BlockEditorView::commit);
    }
}

QToolButton* BlockEditorView::kindSegment(WorkKind kind) const {
    return kind == WorkKind::deep ? m_deepSegment : m_shallowSegment;
}

void BlockEditorView::setInput(const BlockEditorInput& input) {
    m_input = input;
    refreshControls();
}

void BlockEditorView::emitChange(const WorkBlock& block) {
    Q_EMIT changed(block);
}

void BlockEditorView::commit() {
    if (m_input.isFrozen())
        return;
    Q_EMIT commitRequested();
}

void BlockEditorView::refreshControls() {
    const WorkBlock& b = m_input.block;
    const bool editable = !m_input.isFrozen();

    // Rewriting the text the user is typing would move the cursor.
    if (m_title->text() != b.title)
        m_title->setText(b.title);
    m_title->setEnabled(editable);
    for (WorkKind kind : allWorkKinds) {
        kindSegment(kind)->setChecked(b.kind == kind);
        kindSegment(kind)->setEnabled(editable);
    }
    m_start->setValue(b.startMinutes, m_input.startRange, TimeMath::timeString(b.startMinutes));
    m_duration->setValue(b.durationMinutes, m_input.durationRange,
                         TimeMath::durationString(b.durationMinutes));
    m_start->setEnabled(editable);
    m_duration->setEnabled(editable);

    // A frozen block can no longer be saved, so its repeat days are shown but not offered.
    for (DayToggle* toggle : m_days) {
        toggle->setLook(m_input.repeatDays.contains(toggle->day()),
                        m_input.conflictDays.contains(toggle->day()), b.kind);
        toggle->setEnabled(editable);
    }

    m_statusText->setText(editor::statusText(m_input));
    m_delete->setEnabled(editable);
    m_delete->setToolTip(editor::deleteHelp(m_input));
    m_save->setEnabled(editable);
    refreshIcons();
}

void BlockEditorView::refreshIcons() {
    const QPalette& pal = palette();
    const QString symbol = editor::statusSymbol(m_input);
    m_statusIcon->setVisible(!symbol.isEmpty());
    if (!symbol.isEmpty())
        m_statusIcon->setPixmap(ui::Glyphs::pixmap(
            symbol, QSize(11, 11), palette().color(QPalette::WindowText), devicePixelRatioF()));
    const QColor trash =
        m_delete->isEnabled() ? QColor(Qt::red) : ui::secondaryColor(m_delete->palette());
    m_delete->setIcon(ui::Glyphs::icon(QStringLiteral("trash"), trash));

    // The kind picker is a segmented track: the chosen segment filled in its kind's colour
    // with white text (at least 4.5:1 on either), the other plain, so the choice reads at a
    // glance in light and dark alike.
    const QColor text = pal.color(QPalette::WindowText);
    m_kindTrack->setStyleSheet(
        QStringLiteral("QFrame#kinds { background: %1; border-radius: 8px; }")
            .arg(ui::secondaryColor(pal, 0.18).name(QColor::HexArgb)));
    for (WorkKind kind : allWorkKinds)
        kindSegment(kind)->setStyleSheet(
            QStringLiteral("QToolButton { border: none; border-radius: 6px; padding: 2px 8px; "
                           "background: transparent; color: %1; }"
                           "QToolButton:hover:!checked { background: %2; }"
                           "QToolButton:checked { background: %3; color: white; }"
                           "QToolButton:checked:disabled { background: %4; }"
                           "QToolButton:disabled { color: %5; }"
                           "QToolButton:focus { border: 2px solid %6; }")
                .arg(text.name(), ui::secondaryColor(pal, 0.15).name(QColor::HexArgb),
                     ui::kindColor(kind).name(), ui::kindColor(kind, 0.45).name(QColor::HexArgb),
                     ui::secondaryColor(pal).name(QColor::HexArgb),
                     pal.color(QPalette::Active, QPalette::Highlight).name()));

    // Save is the form's one prominent button: filled flat in the accent colour, with white
    // text that keeps 4.5:1 on it; greyed like any button while it cannot act.
    m_save->setStyleSheet(
        QStringLiteral("QPushButton { background: %1; color: %2; border: 1px solid %3; "
                       "border-radius: 5px; padding: 4px 16px; }"
                       "QPushButton:pressed { background: %3; }"
                       "QPushButton:disabled { background: %4; color: %5; border-color: %6; }")
            .arg(pal.color(QPalette::Active, QPalette::Highlight).name(),
                 pal.color(QPalette::Active, QPalette::HighlightedText).name(),
                 pal.color(QPalette::Active, QPalette::Highlight).darker(115).name(),
                 pal.color(QPalette::Disabled, QPalette::Button).name(),
                 pal.color(QPalette::Disabled, QPalette::ButtonText).name(),
                 pal.color(QPalette::Disabled, QPalette::Mid).name()));
}

void BlockEditorView::changeEvent(QEvent* event) {
    if (event->type() == QEvent::PaletteChange)
        refreshIcons();
    QWidget::changeEvent(event);
}

} // namespace quillmere
