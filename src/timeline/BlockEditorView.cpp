#include "timeline/BlockEditorView.h"

#include "model/TimeMath.h"
#include "ui/Caption.h"
#include "ui/FocusRing.h"
#include "ui/Glyphs.h"
#include "ui/KindColors.h"
#include "ui/Typography.h"

#include <QButtonGroup>
#include <QEvent>
#include <QFrame>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QPushButton>
#include <QShortcut>
#include <QSignalBlocker>
#include <QStyleOptionSpinBox>
#include <QToolButton>
#include <QVBoxLayout>

#include <tuple>

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
    setFocusPolicy(Qt::TabFocus);
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
    p.setOpacity(1);
    ui::paintFocusRing(p, *this, daySize / 2.0);
}

MinuteStepper::MinuteStepper(Shows shows, QWidget* parent) : QSpinBox(parent), m_shows(shows) {
    setFont(ui::font(ui::TextStyle::callout));
    setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    setFrame(false);
    setSingleStep(gridStep);
    // The value is chosen with the arrows, the wheel and the keys; typed text would have to be
    // parsed back from a time or a length.
    lineEdit()->setReadOnly(true);
    setFocusPolicy(Qt::StrongFocus);
    connect(this, &QSpinBox::valueChanged, this, [this](int v) { Q_EMIT stepped(v); });
}

void MinuteStepper::setWidestLabel(const QString& widest) {
    // Without tabular digits the row would twitch with every step; a fixed width keeps it still.
    setMinimumWidth(fontMetrics().horizontalAdvance(widest) + 56);
}

void MinuteStepper::setMinutes(Minutes value, ClosedMinuteRange range) {
    const QSignalBlocker quiet(this);
    // Minutes of a day fit an int many times over; the bounds are kept inside one regardless.
    const auto fit = [](Minutes m) {
        return static_cast<int>(std::clamp<Minutes>(m, -(1 << 24), 1 << 24));
    };
    setRange(fit(range.lower), fit(std::max(range.lower, range.upper)));
    setValue(fit(value));
    // The text follows even when the number did not change but its range did.
    lineEdit()->setText(textFromValue(QSpinBox::value()));
}

// The arrows are drawn with the panel's own chevrons, in the text colour, greyed at a bound.
void MinuteStepper::paintEvent(QPaintEvent* event) {
    QSpinBox::paintEvent(event);
    QStyleOptionSpinBox option;
    initStyleOption(&option);
    QPainter p(this);
    const QColor text = palette().color(QPalette::WindowText);
    // The right-pointing chevron turned down or up.
    for (const auto& [control, enabled, turn] :
         {std::tuple(QStyle::SC_SpinBoxDown, QAbstractSpinBox::StepDownEnabled, 90),
          std::tuple(QStyle::SC_SpinBoxUp, QAbstractSpinBox::StepUpEnabled, -90)}) {
        const QRectF box = style()->subControlRect(QStyle::CC_SpinBox, &option, control, this);
        const bool on = isEnabled() && stepEnabled().testFlag(enabled);
        p.save();
        p.translate(box.center());
        p.rotate(turn);
        ui::paintGlyph(p, QStringLiteral("chevron.right"), QRectF(-5, -5, 10, 10),
                       on ? text : ui::secondaryColor(palette(), 0.5));
        p.restore();
    }
}

QString MinuteStepper::textFromValue(int value) const {
    return m_shows == Shows::time ? TimeMath::timeString(value) : TimeMath::durationString(value);
}

BlockEditorView::BlockEditorView(QWidget* parent)
    : QWidget(parent), m_title(new QLineEdit(this)), m_deepSegment(new QToolButton(this)),
      m_shallowSegment(new QToolButton(this)), m_kindTrack(new QFrame(this)),
      m_start(new MinuteStepper(MinuteStepper::Shows::time, this)),
      m_duration(new MinuteStepper(MinuteStepper::Shows::duration, this)),
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
    orderTabs();
    restyle();
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
        segment->setParent(m_kindTrack);
        segment->installEventFilter(this);
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
    m_start->setAccessibleName(QStringLiteral("Start"));
    m_duration->setAccessibleName(QStringLiteral("Duration"));
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
    m_delete->setFocusPolicy(Qt::TabFocus);
    m_delete->setStyleSheet(QStringLiteral("QToolButton { border: none; padding: 2px; }") +
                            ui::focusRingRule(QStringLiteral("QToolButton")));
    m_delete->setIconSize(QSize(16, 16));
    buttons->addWidget(m_delete);
    buttons->addStretch(1);
    // Like the form's other buttons, Save takes the keyboard only from Tab.
    m_save->setFocusPolicy(Qt::TabFocus);
    m_save->setDefault(true);
    m_save->setAutoDefault(false);
    buttons->addWidget(m_save);
    stack->addLayout(buttons);
    connect(m_delete, &QToolButton::clicked, this, &BlockEditorView::deleteRequested);
    connect(m_save, &QPushButton::clicked, this, &BlockEditorView::commit);
    m_delete->setObjectName(QStringLiteral("delete"));
    m_delete->setAccessibleName(QStringLiteral("Delete"));
}

// Tab goes through the form top to bottom, as it reads; the kind picker is one stop whose
// arrows choose between the kinds.
void BlockEditorView::orderTabs() {
    std::vector<QWidget*> order{m_title, m_deepSegment, m_shallowSegment, m_start, m_duration};
    order.insert(order.end(), m_days.begin(), m_days.end());
    order.insert(order.end(), {m_delete, m_save});
    for (std::size_t i = 1; i < order.size(); ++i)
        QWidget::setTabOrder(order[i - 1], order[i]);
    m_title->setAccessibleName(QStringLiteral("Title"));
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
        // Tab stops at the chosen kind only; the arrows choose the other.
        kindSegment(kind)->setFocusPolicy(b.kind == kind ? Qt::TabFocus : Qt::NoFocus);
    }
    m_start->setMinutes(b.startMinutes, m_input.startRange);
    m_duration->setMinutes(b.durationMinutes, m_input.durationRange);
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
        m_delete->isEnabled() ? ui::destructiveRed(pal) : ui::secondaryColor(m_delete->palette());
    m_delete->setIcon(ui::Glyphs::icon(QStringLiteral("trash"), trash));
}

// The style sheets hold colours from the palette, so they are written when it changes (and
// once at the start), not with every edit: each one re-polishes its widget.
void BlockEditorView::restyle() {
    const QPalette& pal = palette();

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

    // A stepper reads as its value beside two arrow buttons of a comfortable size, down then
    // up, rather than as a field with stacked half-height arrows. Its colours are written out:
    // a style sheet keeps the palette it was polished with.
    for (MinuteStepper* stepper : {m_start, m_duration})
        stepper->setStyleSheet(
            QStringLiteral(
                "QSpinBox { border: none; background: transparent; padding-right: 46px; "
                "color: %1; }"
                "QSpinBox:disabled { color: %2; }"
                "QSpinBox::up-button, QSpinBox::down-button { subcontrol-origin: border; "
                "subcontrol-position: center right; width: 20px; height: 20px; border: none; "
                "border-radius: 4px; }"
                "QSpinBox::down-button { right: 22px; }"
                "QSpinBox::up-button:hover, QSpinBox::down-button:hover { background: %3; }"
                "QSpinBox::up-button:pressed, QSpinBox::down-button:pressed { background: %4; }"
                "QSpinBox:focus { border: 2px solid %5; border-radius: 4px; }")
                .arg(text.name(), ui::secondaryColor(pal).name(QColor::HexArgb),
                     ui::secondaryColor(pal, 0.15).name(QColor::HexArgb),
                     ui::secondaryColor(pal, 0.3).name(QColor::HexArgb),
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

// On the kind picker any arrow chooses the other kind, and the keyboard follows the choice.
bool BlockEditorView::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::KeyPress &&
        (watched == m_deepSegment || watched == m_shallowSegment)) {
        switch (static_cast<QKeyEvent*>(event)->key()) {
        case Qt::Key_Left:
        case Qt::Key_Right:
        case Qt::Key_Up:
        case Qt::Key_Down: {
            const WorkKind other = otherKind(m_input.block.kind);
            if (!m_input.isFrozen())
                emitChange(editor::withKind(m_input.block, other));
            kindSegment(m_input.block.kind)->setFocus(Qt::TabFocusReason);
            return true;
        }
        default:
            break;
        }
    }
    return QWidget::eventFilter(watched, event);
}

void BlockEditorView::changeEvent(QEvent* event) {
    if (event->type() == QEvent::PaletteChange) {
        restyle();
        refreshIcons();
    }
    QWidget::changeEvent(event);
}

} // namespace quillmere
