#include "app/PlannedListView.h"

#include "model/TimeMath.h"
#include "store/BlockStore.h"
#include "ui/Caption.h"
#include "ui/FocusRing.h"
#include "ui/Glyphs.h"
#include "ui/KindColors.h"
#include "ui/Typography.h"

#include <QApplication>
#include <QCursor>
#include <QEnterEvent>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QPainter>
#include <QPainterPath>
#include <QPropertyAnimation>
#include <QScrollArea>
#include <QScrollBar>
#include <QToolButton>
#include <QVBoxLayout>

#include <utility>

#include "ui/Palette.h"
#include "ui/PaletteFollower.h"

namespace quillmere {

namespace {

QString switchHelp(WorkKind kind) {
    return defaultTitle(kind) + QStringLiteral(" — click to switch");
}

QString pinHelp(const PlannedBlock& item) {
    return item.isPinned() ? QStringLiteral("Unpin — scheduling will remove it from the backlog")
                           : QStringLiteral("Pin — keep it in the backlog to schedule again");
}

// The chevron before the count, turned down while the backlog is open.
class Chevron final : public QWidget {
public:
    explicit Chevron(QWidget* parent) : QWidget(parent) { setFixedSize(10, 10); }
    void setExpanded(bool expanded) {
        if (expanded != m_expanded) {
            m_expanded = expanded;
            update();
        }
    }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter p(this);
        p.setRenderHint(QPainter::Antialiasing);
        p.translate(width() / 2.0, height() / 2.0);
        if (m_expanded)
            p.rotate(90);
        ui::paintGlyph(p, QStringLiteral("chevron.right"), QRectF(-4, -4, 8, 8),
                       ui::secondaryColor(palette()));
    }

private:
    bool m_expanded = false;
};

// The header's round plus button; it brightens under the pointer.
class PlusButton final : public QAbstractButton {
public:
    explicit PlusButton(QWidget* parent) : QAbstractButton(parent) {
        setFixedSize(16, 16);
        setCursor(Qt::PointingHandCursor);
        setFocusPolicy(Qt::TabFocus);
        setToolTip(QStringLiteral("Plan a block"));
        setAccessibleName(toolTip());
        setAttribute(Qt::WA_Hover);
    }

protected:
    void paintEvent(QPaintEvent*) override {
        const bool hovered = underMouse();
        QPainter p(this);
        p.setRenderHint(QPainter::Antialiasing);
        p.setPen(Qt::NoPen);
        p.setBrush(ui::secondaryColor(palette(), hovered ? 0.25 : 0.15));
        p.drawEllipse(QRectF(0, 0, 16, 16));
        const QColor ink =
            hovered ? palette().color(QPalette::WindowText) : ui::secondaryColor(palette());
        ui::paintGlyph(p, QStringLiteral("plus"), QRectF(4, 4, 8, 8), ink);
        ui::paintFocusRing(p, *this, 8);
    }
    void enterEvent(QEnterEvent* event) override {
        update();
        QAbstractButton::enterEvent(event);
    }
    void leaveEvent(QEvent* event) override {
        update();
        QAbstractButton::leaveEvent(event);
    }
};

QToolButton* rowButton(QWidget* parent) {
    auto* b = new QToolButton(parent);
    b->setAutoRaise(true);
    b->setFocusPolicy(Qt::NoFocus);
    b->setIconSize(QSize(12, 12));
    b->setFixedSize(18, 18);
    b->setStyleSheet(QStringLiteral("QToolButton { border: none; background: transparent; }"));
    return b;
}

} // namespace

KindSwatch::KindSwatch(QWidget* parent) : QAbstractButton(parent) {
    setFixedSize(14, 14);
    setCursor(Qt::PointingHandCursor);
    setFocusPolicy(Qt::TabFocus);
    setKind(m_kind);
}

void KindSwatch::setKind(WorkKind kind) {
    m_kind = kind;
    setToolTip(switchHelp(kind));
    // A colour alone says nothing to a screen reader: the kind is its name.
    setAccessibleName(defaultTitle(kind));
    setAccessibleDescription(toolTip());
    update();
}

void KindSwatch::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(Qt::NoPen);
    p.setBrush(ui::kindColor(m_kind));
    p.drawRoundedRect(QRectF((width() - 8) / 2.0, (height() - 8) / 2.0, 8, 8), 2, 2);
    ui::paintFocusRing(p, *this, 4);
}

bool PlannedEntryField::event(QEvent* event) {
    // Return here adds the typed title; the panel's Save shortcut must not take it.
    if (event->type() == QEvent::ShortcutOverride) {
        const int key = static_cast<QKeyEvent*>(event)->key();
        if (key == Qt::Key_Return || key == Qt::Key_Enter) {
            event->accept();
            return true;
        }
    }
    return QLineEdit::event(event);
}

void PlannedEntryField::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape) {
        Q_EMIT escapePressed();
        return;
    }
    QLineEdit::keyPressEvent(event);
}

void PlannedEntryField::focusOutEvent(QFocusEvent* event) {
    QLineEdit::focusOutEvent(event);
    // A menu opening over the panel borrows the keyboard for a moment; the row stays open.
    // The panel's own popup closing is a loss like any other.
    const QWidget* popup = QApplication::activePopupWidget();
    const bool borrowed =
        event->reason() == Qt::PopupFocusReason && popup != nullptr && popup != window();
    if (!borrowed)
        Q_EMIT focusLost();
}

PlannedRow::PlannedRow(PlannedListView& list, QWidget* parent)
    : QWidget(parent), m_list(list), m_swatch(new KindSwatch(this)), m_title(new QLabel(this)),
      m_pin(rowButton(this)), m_delete(rowButton(this)) {
    setFixedHeight(PlannedListView::rowHeight);
    setAttribute(Qt::WA_Hover);
    setToolTip(QStringLiteral("Schedule at the next free time"));
    setFocusPolicy(Qt::TabFocus);
    setAccessibleDescription(toolTip() + QStringLiteral(" (Space); Delete removes it"));
    ui::followPalette(this, [this] { paintIcons(); });
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(14, 0, 14, 0);
    row->setSpacing(6);
    row->addWidget(m_swatch);
    row->addWidget(m_title, 1);
    row->addWidget(m_pin);
    row->addWidget(m_delete);
    m_title->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    m_delete->setToolTip(QStringLiteral("Delete planned block"));
    m_pin->setObjectName(QStringLiteral("pin"));
    m_delete->setObjectName(QStringLiteral("delete"));
    connect(m_swatch, &KindSwatch::clicked, this, [this] { m_list.toggleKind(m_item); });
    connect(m_pin, &QToolButton::clicked, this, [this] { m_list.togglePin(m_item); });
    connect(m_delete, &QToolButton::clicked, this, [this] { m_list.removeRow(m_item); });
}

void PlannedRow::setItem(const PlannedBlock& item, bool hovered, bool pending) {
    m_item = item;
    m_pending = pending;
    m_swatch->setKind(item.kind);
    setAccessibleName(item.title);
    elideTitle();
    paintIcons();
    m_pin->setToolTip(pinHelp(item));
    m_pin->setVisible(hovered);
    m_delete->setVisible(hovered);
    m_hovered = hovered;
    update();
}

void PlannedRow::paintIcons() {
    const QColor ink = ui::secondaryColor(palette());
    m_pin->setIcon(ui::Glyphs::icon(
        m_item.isPinned() ? QStringLiteral("pin.fill") : QStringLiteral("pin"), ink));
    m_delete->setIcon(ui::Glyphs::icon(QStringLiteral("xmark.circle.fill"), ink));
}

void PlannedRow::setHovered(bool hovered) {
    if (hovered == m_hovered)
        return;
    m_hovered = hovered;
    m_pin->setVisible(hovered);
    m_delete->setVisible(hovered);
    update();
}

void PlannedRow::elideTitle() {
    const int room = std::max(0, m_title->width());
    m_title->setText(m_title->fontMetrics().elidedText(m_item.title, Qt::ElideRight, room));
}

void PlannedRow::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    elideTitle();
}

void PlannedRow::paintEvent(QPaintEvent*) {
    QPainter p(this);
    if (m_hovered)
        p.fillRect(rect(), ui::secondaryColor(palette(), 0.08));
    // The entry whose draft is open in the editor carries its kind's colour at the edge.
    if (m_pending)
        p.fillRect(QRectF(0, 3, 3, height() - 6), ui::kindColor(m_item.kind));
    ui::paintFocusRing(p, *this, 6);
}

// From the keyboard a row is scheduled with Space and taken out of the backlog with Delete.
void PlannedRow::keyPressEvent(QKeyEvent* event) {
    switch (event->key()) {
    case Qt::Key_Space:
        m_list.scheduleRow(m_item);
        return;
    case Qt::Key_Delete:
    case Qt::Key_Backspace:
        m_list.removeRow(m_item);
        return;
    default:
        QWidget::keyPressEvent(event);
    }
}

void PlannedRow::enterEvent(QEnterEvent* event) {
    m_list.rowEntered(m_item.id);
    QWidget::enterEvent(event);
}

void PlannedRow::leaveEvent(QEvent* event) {
    m_list.rowLeft(m_item.id);
    QWidget::leaveEvent(event);
}

void PlannedRow::mousePressEvent(QMouseEvent* event) {
    m_pressedOnScreen = QRect(mapToGlobal(QPoint(0, 0)), size());
    QWidget::mousePressEvent(event);
}

void PlannedRow::mouseReleaseEvent(QMouseEvent* event) {
    // The press may make the list move (a kept entry title closes its row); a release where
    // the row was pressed on the screen is still a click on it.
    const bool inside = rect().contains(event->position().toPoint()) ||
                        m_pressedOnScreen.contains(event->globalPosition().toPoint());
    m_pressedOnScreen = {};
    if (event->button() == Qt::LeftButton && inside)
        m_list.scheduleRow(m_item);
    QWidget::mouseReleaseEvent(event);
}

PlannedListView::PlannedListView(BlockStore& store, BacklogState& state, QWidget* parent)
    : QWidget(parent), m_store(store), m_state(state), m_header(new QWidget(this)),
      m_chevron(new Chevron(m_header)), m_count(ui::captionLabel({}, m_header)),
      m_plus(new PlusButton(m_header)), m_entryRow(new QWidget(this)),
      m_entrySwatch(new KindSwatch(m_entryRow)), m_entry(new PlannedEntryField(m_entryRow)),
      m_rowsArea(new QScrollArea(this)), m_rowsHost(new QWidget),
      m_rowsLayout(new QVBoxLayout(m_rowsHost)) {
    auto* stack = new QVBoxLayout(this);
    stack->setContentsMargins(0, 6, 0, 6);
    stack->setSpacing(0);
    stack->addWidget(buildHeader());
    stack->addWidget(buildEntryRow());
    stack->addWidget(buildRowsArea());
    connectControls();
    sync();
}

QWidget* PlannedListView::buildHeader() {
    auto* header = new QHBoxLayout(m_header);
    header->setContentsMargins(14, 2, 14, 2);
    header->setSpacing(5);
    header->addWidget(m_chevron);
    header->addWidget(m_count);
    header->addStretch(1);
    header->addWidget(m_plus);
    m_header->setCursor(Qt::PointingHandCursor);
    m_header->installEventFilter(this);
    m_header->setObjectName(QStringLiteral("backlogHeader"));
    // Opened and closed with Space as well; its focus ring is painted by the event filter (a
    // style sheet would freeze the palette its children inherit).
    m_header->setFocusPolicy(Qt::TabFocus);
    m_count->setObjectName(QStringLiteral("backlogCount"));
    m_plus->setObjectName(QStringLiteral("backlogPlus"));
    return m_header;
}

QWidget* PlannedListView::buildEntryRow() {
    auto* entry = new QHBoxLayout(m_entryRow);
    entry->setContentsMargins(14, 0, 14, 0);
    entry->setSpacing(6);
    m_entryRow->setFixedHeight(30);
    entry->addWidget(m_entrySwatch);
    entry->addWidget(m_entry, 1);
    m_entry->setFont(ui::font(ui::TextStyle::caption));
    m_entry->setPlaceholderText(QStringLiteral("Plan a block…"));
    m_entrySwatch->setObjectName(QStringLiteral("entrySwatch"));
    return m_entryRow;
}

QWidget* PlannedListView::buildRowsArea() {
    m_rowsLayout->setContentsMargins(0, 0, 0, 0);
    m_rowsLayout->setSpacing(0);
    m_rowsLayout->addStretch(1);
    m_rowsArea->setWidget(m_rowsHost);
    m_rowsArea->setWidgetResizable(true);
    m_rowsArea->setFrameShape(QFrame::NoFrame);
    m_rowsArea->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    // A click on a row must leave the keyboard where it is: taking it from the entry row
    // would close that row under the pointer, between the press and the release.
    m_rowsArea->setFocusPolicy(Qt::NoFocus);
    m_rowsArea->viewport()->setAutoFillBackground(false);
    m_rowsHost->setAutoFillBackground(false);
    return m_rowsArea;
}

void PlannedListView::connectControls() {
    connect(m_plus, &QAbstractButton::clicked, this, [this] {
        m_state.expanded = true;
        m_state.adding = true;
        changed();
    });
    connect(m_entrySwatch, &KindSwatch::clicked, this, [this] {
        m_state.newKind = otherKind(m_state.newKind);
        changed();
    });
    connect(m_entry, &QLineEdit::textEdited, this,
            [this](const QString& text) { m_state.newTitle = text; });
    connect(m_entry, &QLineEdit::returnPressed, this, &PlannedListView::commitNew);
    connect(m_entry, &PlannedEntryField::escapePressed, this, &PlannedListView::cancelNew);
    connect(m_entry, &PlannedEntryField::focusLost, this, [this] {
        if (m_state.adding)
            commitNew();
    });
    connect(&m_store, &BlockStore::plannedChanged, this, &PlannedListView::sync);
}

PlannedListView::~PlannedListView() {
    // The field loses its focus while the children go; that is no request to keep its text.
    m_entry->disconnect(this);
    m_store.disconnect(this);
}

void PlannedListView::setPendingID(const std::optional<QUuid>& id) {
    if (id == m_pendingID)
        return;
    m_pendingID = id;
    syncRows();
}

void PlannedListView::changed() {
    sync();
    Q_EMIT stateChanged();
}

void PlannedListView::sync() {
    static_cast<Chevron*>(m_chevron)->setExpanded(m_state.expanded);
    m_count->setText(QStringLiteral("Planned (") + QString::number(m_store.planned().size()) +
                     u')');
    m_header->setToolTip(m_state.expanded ? QStringLiteral("Hide planned blocks")
                                          : QStringLiteral("Show planned blocks"));
    m_header->setAccessibleName(m_header->toolTip());

    m_entrySwatch->setKind(m_state.newKind);
    if (m_entry->text() != m_state.newTitle)
        m_entry->setText(m_state.newTitle);
    m_entryRow->setVisible(m_state.adding);
    if (m_state.adding && !m_entryWasOpen)
        openEntry();
    m_entryWasOpen = m_state.adding;

    syncRows();
}

void PlannedListView::openEntry() {
    // Focus once the row is laid out and shown, on the next turn of the event loop.
    QMetaObject::invokeMethod(
        m_entry,
        [field = QPointer<PlannedEntryField>(m_entry)] {
            if (field && field->isVisible())
                field->setFocus(Qt::OtherFocusReason);
        },
        Qt::QueuedConnection);
}

void PlannedListView::syncRows() {
    // Hiding or showing a row under the pointer makes Qt send enter and leave events, and
    // those come back here. A rebuild asked for while one runs is done once it has finished,
    // never in the middle of it.
    if (m_syncingRows) {
        m_rowsDirty = true;
        return;
    }
    m_syncingRows = true;
    do {
        m_rowsDirty = false;
        rebuildRows();
    } while (m_rowsDirty);
    m_syncingRows = false;
}

void PlannedListView::rebuildRows() {
    const auto& planned = m_store.planned();
    QHash<QUuid, PlannedRow*> keep;
    while (m_rowsLayout->count() > 0)
        delete m_rowsLayout->takeAt(0);
    for (const PlannedBlock& item : planned) {
        PlannedRow* row = m_rows.take(item.id);
        if (!row)
            row = new PlannedRow(*this, m_rowsHost);
        row->setItem(item, m_hoveredID == item.id, m_pendingID == item.id);
        m_rowsLayout->addWidget(row);
        keep.insert(item.id, row);
    }
    m_rowsLayout->addStretch(1);
    // The new list is complete before any row is shown or hidden, so whatever those events
    // set off sees whole rows only.
    const QHash<QUuid, PlannedRow*> gone = std::exchange(m_rows, keep);
    for (PlannedRow* row : std::as_const(keep))
        row->show();
    // A row may be the one whose button is being clicked right now.
    for (PlannedRow* row : gone) {
        row->hide();
        row->deleteLater();
    }
    // Rows that slide under a resting pointer hear no enter event; once the list is laid out
    // anew, the row now under the pointer takes the hover (and with it its buttons).
    if (!gone.isEmpty() && isVisible())
        QMetaObject::invokeMethod(this, &PlannedListView::hoverRowUnderPointer,
                                  Qt::QueuedConnection);

    const int count = static_cast<int>(planned.size());
    const bool scrolls = count >= scrollFrom;
    const bool show = m_state.expanded && count > 0;
    m_rowsArea->setVerticalScrollBarPolicy(scrolls ? Qt::ScrollBarAlwaysOn
                                                   : Qt::ScrollBarAlwaysOff);
    foldRows(show, scrolls ? scrollHeight : count * rowHeight);
}

void PlannedListView::foldRows(bool show, int height) {
    const bool wasShown = std::exchange(m_rowsShown, show);
    m_rowsArea->setMinimumHeight(0);
    if (show == wasShown && m_folding) {
        // A change while the rows unfold only moves where they are going.
        if (show)
            m_folding->setEndValue(height);
        return;
    }
    if (m_folding)
        m_folding->stop();
    if (show == wasShown || !isVisible()) {
        m_rowsArea->setVisible(show);
        if (show)
            m_rowsArea->setFixedHeight(height);
        return;
    }
    // The rows unfold and fold with a short ease-out instead of jumping, from wherever a fold
    // going the other way had got to.
    const int from = m_rowsArea->isVisibleTo(this) ? m_rowsArea->height() : 0;
    m_rowsArea->setMaximumHeight(from);
    m_rowsArea->setVisible(true);
    auto* fold = new QPropertyAnimation(m_rowsArea, "maximumHeight", m_rowsArea);
    fold->setStartValue(from);
    fold->setEndValue(show ? height : 0);
    fold->setDuration(150);
    fold->setEasingCurve(QEasingCurve::OutCubic);
    connect(fold, &QPropertyAnimation::finished, m_rowsArea, [this, fold] {
        if (m_rowsShown)
            m_rowsArea->setFixedHeight(fold->endValue().toInt());
        else
            m_rowsArea->hide();
    });
    m_folding = fold;
    fold->start(QAbstractAnimation::DeleteWhenStopped);
}

void PlannedListView::toggleExpanded() {
    m_state.expanded = !m_state.expanded;
    if (!m_state.expanded)
        m_state.adding = false;
    changed();
}

void PlannedListView::commitNew() {
    const QString title = m_state.newTitle.trimmed();
    if (!title.isEmpty()) {
        PlannedBlock item;
        item.id = QUuid::createUuid();
        item.title = title;
        item.kind = m_state.newKind;
        item.createdAt = TimeMath::referenceSeconds(m_store.clock().wallClock().now());
        m_store.addPlanned(item);
    }
    m_state.newTitle.clear();
    m_state.adding = false;
    changed();
}

void PlannedListView::cancelNew() {
    m_state.newTitle.clear();
    m_state.adding = false;
    changed();
}

void PlannedListView::rowEntered(const QUuid& id) {
    m_hoveredID = id;
    showHover();
}

void PlannedListView::rowLeft(const QUuid& id) {
    // A late exit of the row the pointer came from must not clear the row it went to.
    if (m_hoveredID != id)
        return;
    m_hoveredID.reset();
    showHover();
}

void PlannedListView::hoverRowUnderPointer() {
    for (QWidget* w = QApplication::widgetAt(QCursor::pos()); w; w = w->parentWidget()) {
        auto* row = qobject_cast<PlannedRow*>(w);
        if (row && m_rows.value(row->item().id) == row) {
            rowEntered(row->item().id);
            return;
        }
    }
}

void PlannedListView::showHover() {
    // A copy: a button shown or hidden here may set off events that rebuild the rows.
    const QHash<QUuid, PlannedRow*> rows = m_rows;
    for (auto it = rows.cbegin(); it != rows.cend(); ++it)
        it.value()->setHovered(m_hoveredID == it.key());
}

void PlannedListView::scheduleRow(const PlannedBlock& item) {
    Q_EMIT scheduleRequested(item);
}

void PlannedListView::toggleKind(const PlannedBlock& item) {
    PlannedBlock changedItem = item;
    changedItem.kind = otherKind(item.kind);
    m_store.updatePlanned(changedItem);
}

void PlannedListView::togglePin(const PlannedBlock& item) {
    PlannedBlock changedItem = item;
    if (item.isPinned())
        changedItem.pinned.reset();
    else
        changedItem.pinned = true;
    m_store.updatePlanned(changedItem);
}

void PlannedListView::removeRow(const PlannedBlock& item) {
    m_store.removePlanned(item.id);
}

void PlannedListView::hideEvent(QHideEvent* event) {
    QWidget::hideEvent(event);
    // The panel closing takes the row away; what was typed into it is kept, as on any other
    // loss of focus.
    if (m_state.adding)
        commitNew();
}

bool PlannedListView::eventFilter(QObject* watched, QEvent* event) {
    if (watched == m_header && event->type() == QEvent::Paint) {
        QPainter p(m_header);
        ui::paintFocusRing(p, *m_header, 6);
        return true;
    }
    if (watched == m_header && event->type() == QEvent::KeyPress &&
        static_cast<QKeyEvent*>(event)->key() == Qt::Key_Space) {
        toggleExpanded();
        return true;
    }
    if (watched == m_header && event->type() == QEvent::MouseButtonRelease) {
        auto* mouse = static_cast<QMouseEvent*>(event);
        if (mouse->button() == Qt::LeftButton &&
            m_header->rect().contains(mouse->position().toPoint()))
            toggleExpanded();
        return true;
    }
    return QWidget::eventFilter(watched, event);
}

} // namespace quillmere
