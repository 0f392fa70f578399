#include "app/ScheduleView.h"

#include "desktop/QuietDesktop.h"
#include "desktop/StartAtLogin.h"
#include "focus/BannerWatchStatus.h"
#include "model/AppClock.h"
#include "model/TimeMath.h"
#include "store/BlockStore.h"
#include "timeline/BlockEditorView.h"
#include "timeline/DayTimelineView.h"
#include "ui/Caption.h"
#include "ui/FocusRing.h"
#include "ui/Glyphs.h"
#include "ui/KindColors.h"
#include "ui/Typography.h"

#include <QActionGroup>
#include <QCoreApplication>
#include <QGraphicsDropShadowEffect>
#include <QGraphicsOpacityEffect>
#include <QHBoxLayout>
#include <QLabel>
#include <QLocale>
#include <QMenu>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QParallelAnimationGroup>
#include <QPointer>
#include <QPropertyAnimation>
#include <QSlider>
#include <QTimer>
#include <QToolButton>
#include <QVBoxLayout>
#include <QWheelEvent>

#include "ui/Palette.h"
#include "ui/PaletteFollower.h"

namespace quillmere {

namespace {

const QString startAtLoginHelp = QStringLiteral("Start Quillmere in the tray when you log in");

// A hairline between the panel's parts, painted from the palette of the moment.
class Divider final : public QWidget {
public:
    explicit Divider(QWidget* parent) : QWidget(parent) {
        setFixedHeight(1);
        setObjectName(QStringLiteral("divider"));
    }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter(this).fillRect(rect(), ui::secondaryColor(palette(), 0.35));
    }
};

QWidget* divider(QWidget* parent) {
    return new Divider(parent);
}

// The name of the symbol a header button or menu entry shows; its icon is drawn again in the
// text colour whenever the palette changes, so it stays visible in light and dark.
constexpr char glyphProperty[] = "quillmereGlyph";

QToolButton* menuButton(const QString& symbol, QWidget* parent) {
    auto* b = new QToolButton(parent);
    b->setAutoRaise(true);
    b->setPopupMode(QToolButton::InstantPopup);
    b->setProperty(glyphProperty, symbol);
    b->setIconSize(QSize(18, 18));
    b->setFocusPolicy(Qt::TabFocus);
    b->setStyleSheet(QStringLiteral("QToolButton::menu-indicator { image: none; width: 0; }") +
                     ui::focusRingRule(QStringLiteral("QToolButton"), 14));
    return b;
}

QString scheduledHelp(WorkKind kind) {
    return defaultTitle(kind) + QStringLiteral(" scheduled today");
}

// Moves and fades `widget` between two vertical positions; `after` runs at the end.
void slide(QWidget* widget, int fromY, int toY, qreal fromOpacity, qreal toOpacity,
           std::function<void()> after = {}) {
    auto* effect = qobject_cast<QGraphicsOpacityEffect*>(widget->graphicsEffect());
    auto* group = new QParallelAnimationGroup(widget);
    auto* move = new QPropertyAnimation(widget, "pos", group);
    move->setStartValue(QPoint(widget->x(), fromY));
    move->setEndValue(QPoint(widget->x(), toY));
    move->setDuration(200);
    move->setEasingCurve(QEasingCurve::OutCubic);
    if (effect) {
        auto* fade = new QPropertyAnimation(effect, "opacity", group);
        fade->setStartValue(fromOpacity);
        fade->setEndValue(toOpacity);
        fade->setDuration(200);
    }
    QObject::connect(group, &QAbstractAnimation::finished, widget, [after = std::move(after)] {
        if (after)
            after();
    });
    group->start(QAbstractAnimation::DeleteWhenStopped);
}

} // namespace

// One chip of the header's summary: the kind's swatch and its scheduled time.
class SummaryChip final : public QWidget {
public:
    SummaryChip(WorkKind kind, QWidget* parent) : QWidget(parent), m_kind(kind) {
        setToolTip(scheduledHelp(kind));
        setAccessibleName(scheduledHelp(kind));
        setFont(ui::font(ui::TextStyle::caption));
    }
    void setMinutes(Minutes minutes) {
        m_text = TimeMath::durationString(minutes);
        setAccessibleDescription(m_text);
        updateGeometry();
        update();
    }
    QString text() const { return m_text; }
    QSize sizeHint() const override {
        return {8 + 4 + fontMetrics().horizontalAdvance(m_text) + 1, fontMetrics().height()};
    }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter p(this);
        p.setRenderHint(QPainter::Antialiasing);
        p.setPen(Qt::NoPen);
        p.setBrush(ui::kindColor(m_kind));
        p.drawRoundedRect(QRectF(0, (height() - 8) / 2.0, 8, 8), 2, 2);
        p.setPen(ui::secondaryColor(palette()));
        p.drawText(QRect(12, 0, width() - 12, height()), Qt::AlignLeft | Qt::AlignVCenter, m_text);
    }

private:
    WorkKind m_kind;
    QString m_text;
};

// Lies over the timeline while the backlog is open: one click closes it (keeping a
// typed title) and never reaches the timeline below. The wheel still scrolls the day.
class DismissLayer final : public QWidget {
    Q_OBJECT

public:
    explicit DismissLayer(QWidget* parent) : QWidget(parent) {
        setAttribute(Qt::WA_NoSystemBackground);
        setFocusPolicy(Qt::NoFocus);
    }
    void setBelow(QWidget* below) { m_below = below; }

Q_SIGNALS:
    void clicked();

protected:
    void mousePressEvent(QMouseEvent* event) override { event->accept(); }
    void mouseReleaseEvent(QMouseEvent* event) override {
        event->accept();
        if (event->button() == Qt::LeftButton)
            Q_EMIT clicked();
    }
    void mouseDoubleClickEvent(QMouseEvent* event) override { event->accept(); }
    void wheelEvent(QWheelEvent* event) override {
        if (!m_below) {
            event->ignore();
            return;
        }
        QWheelEvent forwarded(m_below->mapFromGlobal(event->globalPosition()),
                              event->globalPosition(), event->pixelDelta(), event->angleDelta(),
                              event->buttons(), event->modifiers(), event->phase(),
                              event->inverted(), event->source());
        QCoreApplication::sendEvent(m_below, &forwarded);
        event->setAccepted(forwarded.isAccepted());
    }

private:
    QPointer<QWidget> m_below;
};

// "No free time left today", on an outlined capsule near the top of the timeline.
class DayFullBanner final : public QWidget {
public:
    explicit DayFullBanner(QWidget* parent) : QWidget(parent) {
        setAttribute(Qt::WA_TransparentForMouseEvents);
        setFont(ui::font(ui::TextStyle::caption));
        auto* shadow = new QGraphicsOpacityEffect(this);
        shadow->setOpacity(1.0);
        setGraphicsEffect(shadow);
        resize(sizeHint());
    }
    static QString text() { return QStringLiteral("No free time left today"); }
    QSize sizeHint() const override {
        const QFontMetrics fm = fontMetrics();
        const int glyph = fm.height();
        return {12 + glyph + 6 + fm.horizontalAdvance(text()) + 12, fm.height() + 12 + 3};
    }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter p(this);
        p.setRenderHint(QPainter::Antialiasing);
        const QRectF capsule(0.5, 0.5, width() - 1, height() - 4);
        const qreal r = capsule.height() / 2;
        // A soft shadow two points down, then the capsule over it.
        p.setPen(Qt::NoPen);
        p.setBrush(QColor(0, 0, 0, 38));
        p.drawRoundedRect(capsule.translated(0, 2), r, r);
        QColor material = palette().color(QPalette::Window);
        material.setAlphaF(0.94f);
        p.setBrush(material);
        const QColor orange(255, 149, 0);
        QColor edge = orange;
        edge.setAlphaF(0.4f);
        p.setPen(QPen(edge, 1));
        p.drawRoundedRect(capsule, r, r);
        const QFontMetrics fm = fontMetrics();
        const qreal glyph = fm.height();
        ui::paintGlyph(p, QStringLiteral("exclamationmark.triangle.fill"),
                       QRectF(12, capsule.center().y() - glyph / 2, glyph, glyph), orange);
        p.setPen(palette().color(QPalette::WindowText));
        p.drawText(QRectF(12 + glyph + 6, capsule.top(), width(), capsule.height()),
                   Qt::AlignLeft | Qt::AlignVCenter, text());
    }
};

// The noise volume: a slider between two speaker symbols, hanging from the options button.
class VolumePopup final : public QFrame {
    Q_OBJECT

public:
    explicit VolumePopup(QWidget* parent)
        : QFrame(parent, Qt::Popup), m_slider(new QSlider(Qt::Horizontal, this)) {
        setFrameShape(QFrame::StyledPanel);
        auto* row = new QHBoxLayout(this);
        row->setContentsMargins(12, 10, 12, 10);
        auto symbol = [&](const QString& name) {
            auto* label = new QLabel(this);
            ui::followPalette(label, [label, name] {
                label->setPixmap(ui::Glyphs::pixmap(name, QSize(12, 12),
                                                    ui::secondaryColor(label->palette()),
                                                    label->devicePixelRatioF()));
            });
            row->addWidget(label);
        };
        symbol(QStringLiteral("speaker.fill"));
        // Fine enough to feel continuous: a thousandth of full volume per step.
        m_slider->setRange(100, 1000);
        m_slider->setFixedWidth(140);
        row->addWidget(m_slider);
        symbol(QStringLiteral("speaker.wave.3.fill"));
    }
    QSlider* slider() const { return m_slider; }

Q_SIGNALS:
    void closed();

protected:
    void hideEvent(QHideEvent* event) override {
        QFrame::hideEvent(event);
        Q_EMIT closed();
    }

private:
    QSlider* m_slider;
};

// Keeps the timeline's overlays on top of it and sized with it.
class TimelineHost final : public QWidget {
public:
    TimelineHost(QWidget* timeline, QWidget* dismiss, QWidget* banner, QWidget* parent)
        : QWidget(parent), m_timeline(timeline), m_dismiss(dismiss), m_banner(banner) {}

    // How far below the timeline's top edge the day-full banner rests.
    static constexpr int bannerTop = 10;
    int bannerX() const { return (width() - m_banner->width()) / 2; }

protected:
    void resizeEvent(QResizeEvent*) override {
        m_timeline->setGeometry(rect());
        m_dismiss->setGeometry(rect());
        m_banner->move(bannerX(), m_banner->y());
    }

private:
    QWidget* m_timeline;
    QWidget* m_dismiss;
    QWidget* m_banner;
};

ScheduleView::ScheduleView(BlockStore& store, AppClock& clock, QWidget* parent, int dayFullMs)
    : QWidget(parent), m_store(store), m_clock(clock) {
    setFixedSize(340, 560);
    auto* stack = new QVBoxLayout(this);
    stack->setContentsMargins(0, 0, 0, 0);
    stack->setSpacing(0);
    stack->addWidget(buildHeader());
    stack->addWidget(divider(this));
    stack->addWidget(buildBacklog());
    stack->addWidget(buildTimeline(dayFullMs), 1);
    stack->addWidget(buildEditor());
    connect(&m_store, &BlockStore::blocksChanged, this, &ScheduleView::refresh);
    connect(&m_store, &BlockStore::rulesChanged, this, &ScheduleView::refresh);
    connect(&m_store, &BlockStore::plannedChanged, this, &ScheduleView::refresh);
    connect(&m_store, &BlockStore::settingsChanged, this, &ScheduleView::refreshMenus);
    // A block under edit that starts (and locks) or ends (and is confirmed) while the editor is
    // open takes no more edits from that moment, not from the next time it is chosen.
    connect(&m_store, &BlockStore::refreshed, this, &ScheduleView::refreshEditor);
    connect(&m_clock, &AppClock::todayChanged, this, &ScheduleView::newDay);
    connect(&m_clock, &AppClock::nowMinutesChanged, this, &ScheduleView::refresh);

    refresh();
}

QWidget* ScheduleView::buildBacklog() {
    m_backlogArea = new QWidget(this);
    auto* backlogStack = new QVBoxLayout(m_backlogArea);
    backlogStack->setContentsMargins(0, 0, 0, 0);
    backlogStack->setSpacing(0);
    m_planned = new PlannedListView(m_store, m_backlog, m_backlogArea);
    backlogStack->addWidget(m_planned);
    backlogStack->addWidget(divider(m_backlogArea));
    connect(m_planned, &PlannedListView::scheduleRequested, this, &ScheduleView::schedulePlanned);
    connect(m_planned, &PlannedListView::stateChanged, this, &ScheduleView::refresh);
    return m_backlogArea;
}

QWidget* ScheduleView::buildTimeline(int dayFullMs) {
    m_timeline = new DayTimelineView(m_store, m_clock);
    m_dismiss = new DismissLayer(nullptr);
    m_banner = new DayFullBanner(nullptr);
    auto* host = new TimelineHost(m_timeline, m_dismiss, m_banner, this);
    m_timelineHost = host;
    m_timeline->setParent(host);
    m_dismiss->setParent(host);
    m_banner->setParent(host);
    m_dismiss->setObjectName(QStringLiteral("dismissLayer"));
    m_banner->setObjectName(QStringLiteral("dayFullBanner"));
    m_banner->hide();
    connect(m_dismiss, &DismissLayer::clicked, this, &ScheduleView::dismissBacklog);
    m_dismiss->setBelow(m_timeline->viewport());
    connect(m_timeline, &DayTimelineView::workingChanged, this,
            [this](const std::optional<WorkBlock>& block) {
                if (m_refreshing || block == m_working)
                    return;
                m_working = block;
                refresh();
            });
    connect(m_timeline, &DayTimelineView::selectedIDChanged, this,
            [this](const std::optional<QUuid>& id) {
                if (!m_refreshing)
                    setSelectedID(id);
            });

    m_dayFullTimer = new QTimer(this);
    m_dayFullTimer->setSingleShot(true);
    // A coarse timer may fire a few per cent early; the banner must stay its full time.
    m_dayFullTimer->setTimerType(Qt::PreciseTimer);
    m_dayFullTimer->setInterval(dayFullMs);
    connect(m_dayFullTimer, &QTimer::timeout, this, &ScheduleView::hideDayFullBanner);
    return host;
}

QWidget* ScheduleView::buildEditor() {
    m_editorArea = new QWidget(this);
    auto* editorStack = new QVBoxLayout(m_editorArea);
    editorStack->setContentsMargins(0, 0, 0, 0);
    editorStack->setSpacing(0);
    editorStack->addWidget(divider(m_editorArea));
    m_editor = new BlockEditorView(m_editorArea);
    editorStack->addWidget(m_editor);
    connect(m_editor, &BlockEditorView::changed, this, [this](const WorkBlock& block) {
        m_working = block;
        refresh();
    });
    connect(m_editor, &BlockEditorView::repeatChanged, this, [this](const Weekdays& days) {
        m_workingRepeatDays = days;
        refresh();
    });
    connect(m_editor, &BlockEditorView::commitRequested, this, &ScheduleView::commit);
    connect(m_editor, &BlockEditorView::deleteRequested, this, &ScheduleView::deleteSelected);
    return m_editorArea;
}

ScheduleView::~ScheduleView() {
    // Deleting the children moves the focus, and a focused entry row then keeps its title and
    // reports back; by then this view is only half there, so nothing may reach it any more.
    for (QObject* child : findChildren<QObject*>())
        child->disconnect(this);
    m_store.disconnect(this);
    m_clock.disconnect(this);
}

QWidget* ScheduleView::buildHeader() {
    auto* header = new QWidget(this);
    auto* row = new QHBoxLayout(header);
    row->setContentsMargins(14, 12, 14, 10);
    row->setSpacing(6);

    auto* lines = new QVBoxLayout;
    lines->setSpacing(2);
    m_date = new QLabel(header);
    m_date->setObjectName(QStringLiteral("date"));
    m_date->setFont(ui::font(ui::TextStyle::headline));
    lines->addWidget(m_date);

    auto* summaryLine = new QWidget(header);
    auto* summary = new QHBoxLayout(summaryLine);
    summary->setContentsMargins(0, 0, 0, 0);
    summary->setSpacing(10);
    m_hint =
        ui::captionLabel(QStringLiteral("No blocks yet — drag on the timeline to add one"), header);
    m_hint->setObjectName(QStringLiteral("hint"));
    m_deepChip = new SummaryChip(WorkKind::deep, header);
    m_shallowChip = new SummaryChip(WorkKind::shallow, header);
    summary->addWidget(m_hint);
    summary->addWidget(m_deepChip);
    summary->addWidget(m_shallowChip);
    summary->addStretch(1);
    // The hint and the chips take turns on this line; one height for both keeps the timeline
    // below from jumping when the first block arrives.
    summaryLine->setFixedHeight(
        std::max(m_hint->sizeHint().height(), m_deepChip->sizeHint().height()));
    lines->addWidget(summaryLine);
    row->addLayout(lines, 1);

    m_addButton = menuButton(QStringLiteral("plus.circle.fill"), header);
    m_addButton->setToolTip(QStringLiteral("Add a block (or drag on the timeline)"));
    m_optionsButton = menuButton(QStringLiteral("ellipsis.circle"), header);
    m_addButton->setObjectName(QStringLiteral("add"));
    m_optionsButton->setObjectName(QStringLiteral("options"));
    // Symbols only on screen; words for a screen reader.
    m_addButton->setAccessibleName(QStringLiteral("Add"));
    m_addButton->setAccessibleDescription(m_addButton->toolTip());
    m_optionsButton->setAccessibleName(QStringLiteral("Options"));
    row->addWidget(m_addButton);
    row->addWidget(m_optionsButton);
    buildMenus();
    return header;
}

void ScheduleView::buildMenus() {
    m_addMenu = new QMenu(this);
    m_addMenu
        ->addAction(QStringLiteral("Add Deep Work"), this, [this] { startDraft(WorkKind::deep); })
        ->setProperty(glyphProperty, QStringLiteral("circle.fill"));
    m_addMenu
        ->addAction(QStringLiteral("Add Shallow Work"), this,
                    [this] { startDraft(WorkKind::shallow); })
        ->setProperty(glyphProperty, QStringLiteral("circle"));
    m_addMenu->addSeparator();
    m_addMenu->addAction(QStringLiteral("Plan a Block"), this, [this] { planABlock(); })
        ->setProperty(glyphProperty, QStringLiteral("square.dashed"));
    m_addButton->setMenu(m_addMenu);
    paintGlyphs();

    m_optionsMenu = new QMenu(this);
    m_optionsMenu->setToolTipsVisible(true);
    auto toggle = [this](const QString& text, bool Settings::*field) {
        QAction* a = m_optionsMenu->addAction(text);
        a->setCheckable(true);
        connect(a, &QAction::triggered, this,
                [this, field](bool on) { writeSettings([&](Settings& s) { s.*field = on; }); });
        return a;
    };
    m_chimes = toggle(QStringLiteral("Chimes"), &Settings::chimesEnabled);
    m_nudges = toggle(QStringLiteral("Focus Nudges"), &Settings::nudgesEnabled);
    // Says so when notification banners cannot be watched on this desktop.
    connect(m_optionsMenu, &QMenu::aboutToShow, this, [this] {
        m_nudges->setToolTip(bannerWatch::problemText());
        m_silence->setToolTip(doNotDisturbProblemText());
    });
    m_reminders = toggle(QStringLiteral("Upcoming Reminders"), &Settings::remindersEnabled);
    m_silence = toggle(QStringLiteral("Silence Notifications"), &Settings::silenceNotifications);

    m_noiseMenu = m_optionsMenu->addMenu(QStringLiteral("Deep Work Noise"));
    m_noiseChoice = new QActionGroup(this);
    m_noiseChoice->setExclusive(true);
    for (DeepWorkNoise noise : allDeepWorkNoises) {
        QAction* a = m_noiseMenu->addAction(
            noise == DeepWorkNoise::off ? QStringLiteral("Off") : QStringLiteral("Brown Noise"));
        a->setCheckable(true);
        a->setData(static_cast<int>(noise));
        m_noiseChoice->addAction(a);
        connect(a, &QAction::triggered, this,
                [this, noise] { writeSettings([&](Settings& s) { s.deepWorkNoise = noise; }); });
    }
    m_noiseMenu->addSeparator();
    m_noiseMenu->addAction(QStringLiteral("Volume…"), this, [this] { openNoiseVolume(); });
    m_optionsMenu->addAction(QStringLiteral("Statistics…"), this,
                             [this] { Q_EMIT statisticsRequested(); });

    m_optionsMenu->addAction(QStringLiteral("Clear Today's Blocks"), this,
                             [this] { clearToday(); });
    m_startAtLogin = m_optionsMenu->addAction(QStringLiteral("Start at Login"));
    m_startAtLogin->setCheckable(true);
    m_startAtLogin->setToolTip(startAtLoginHelp);
    connect(m_startAtLogin, &QAction::triggered, this, [this](bool on) {
        const QString problem = StartAtLogin(m_store.folder()).setOn(on);
        m_startAtLogin->setToolTip(problem.isEmpty() ? startAtLoginHelp : problem);
        refreshStartAtLogin();
    });
    // The entry may have been removed or written by hand since the menu was last open.
    connect(m_optionsMenu, &QMenu::aboutToShow, this, &ScheduleView::refreshStartAtLogin);
    m_optionsMenu->addSeparator();
    m_optionsMenu->addAction(QStringLiteral("Quit Quillmere"), this,
                             [] { QCoreApplication::quit(); });
    m_optionsButton->setMenu(m_optionsMenu);

    m_volume = new VolumePopup(this);
    connect(m_volume, &VolumePopup::closed, this, [this] { m_showNoiseVolume = false; });
    connect(m_volume->slider(), &QSlider::valueChanged, this, [this](int value) {
        if (!m_refreshing)
            writeSettings([&](Settings& s) { s.noiseVolume = value / 1000.0; });
    });
    refreshMenus();
    refreshStartAtLogin();
}

std::optional<WorkBlock> ScheduleView::selectedBlock() const {
    if (!m_selectedID)
        return std::nullopt;
    if (m_working && m_working->id == *m_selectedID)
        return m_working;
    return m_store.savedBlock(*m_selectedID);
}

bool ScheduleView::isDraft(const WorkBlock& block) const {
    return !m_store.savedBlock(block.id).has_value();
}

void ScheduleView::paintGlyphs() {
    const QColor ink = palette().color(QPalette::WindowText);
    for (QToolButton* b : {m_addButton, m_optionsButton})
        b->setIcon(ui::Glyphs::icon(b->property(glyphProperty).toString(), ink));
    for (QAction* a : m_addMenu->actions()) {
        if (const QString symbol = a->property(glyphProperty).toString(); !symbol.isEmpty())
            a->setIcon(ui::Glyphs::icon(symbol, ink));
    }
}

// The panel opens with the keyboard on the day, wherever it was when the panel closed: the
// arrows and Tab work on the blocks there; Tab reaches the editor, Shift+Tab the header.
void ScheduleView::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    m_timeline->setFocus(Qt::OtherFocusReason);
}

void ScheduleView::changeEvent(QEvent* event) {
    if (event->type() == QEvent::PaletteChange && m_addMenu)
        paintGlyphs();
    QWidget::changeEvent(event);
}

void ScheduleView::setSelectedID(const std::optional<QUuid>& id) {
    if (id == m_selectedID)
        return;
    m_selectedID = id;
    if (!id) {
        m_working.reset();
        m_workingRepeatDays.clear();
    } else {
        if (!(m_working && m_working->id == *id))
            m_working = m_store.savedBlock(*id);
        m_workingRepeatDays = m_store.repeatDays(*id);
    }
    refresh();
}

void ScheduleView::startDraft(WorkKind kind) {
    std::optional<WorkBlock> block = m_store.nextFreeBlock(kind);
    if (!block) {
        showDayFullBanner();
        return;
    }
    m_working = block;
    setSelectedID(block->id);
}

void ScheduleView::schedulePlanned(const PlannedBlock& planned) {
    std::optional<WorkBlock> block = m_store.nextFreeBlock(planned.kind);
    if (!block) {
        showDayFullBanner();
        return;
    }
    // An unpinned entry lends the draft its id, so committing the draft takes it off the
    // backlog; a pinned one stays to be scheduled again.
    if (!planned.isPinned())
        block->id = planned.id;
    block->title = planned.title;
    commitPendingPlannedTitle();
    m_working = block;
    if (m_selectedID == block->id)
        refresh();
    else
        setSelectedID(block->id);
    // As after drawing a block, the keyboard is on the day, where Return saves the draft.
    m_timeline->setFocus(Qt::OtherFocusReason);
}

void ScheduleView::showDayFullBanner() {
    if (!m_showDayFull) {
        m_showDayFull = true;
        m_banner->resize(m_banner->sizeHint());
        m_banner->move(m_timelineHost->bannerX(), TimelineHost::bannerTop);
        m_banner->show();
        m_banner->raise();
        slide(m_banner, TimelineHost::bannerTop - m_banner->height(), TimelineHost::bannerTop, 0.0,
              1.0);
    }
    // Each failure restarts the wait, so the banner stays up 2.5 s after the last one.
    m_dayFullTimer->start();
}

void ScheduleView::hideDayFullBanner() {
    if (!m_showDayFull)
        return;
    m_showDayFull = false;
    slide(m_banner, m_banner->y(), TimelineHost::bannerTop - m_banner->height(), 1.0, 0.0,
          [banner = QPointer<QWidget>(m_banner), this] {
              if (banner && !m_showDayFull)
                  banner->hide();
          });
}

bool ScheduleView::commitPendingPlannedTitle() {
    const QString title = m_backlog.newTitle.trimmed();
    if (!m_backlog.adding || title.isEmpty())
        return false;
    PlannedBlock item;
    item.id = QUuid::createUuid();
    item.title = title;
    item.kind = m_backlog.newKind;
    item.createdAt = TimeMath::referenceSeconds(m_clock.wallClock().now());
    m_backlog.newTitle.clear();
    m_store.addPlanned(item);
    return true;
}

void ScheduleView::collapseBacklog() {
    m_backlog.expanded = false;
    m_backlog.adding = false;
    refresh();
}

void ScheduleView::planABlock() {
    m_backlog.expanded = true;
    m_backlog.adding = true;
    refresh();
}

void ScheduleView::dismissBacklog() {
    commitPendingPlannedTitle();
    collapseBacklog();
}

void ScheduleView::commit() {
    if (m_working) {
        const WorkBlock block = *m_working;
        if (isDraft(block)) {
            m_store.add(block);
            m_store.removePlanned(block.id);
        } else {
            m_store.update(block);
        }
        m_store.setRepeat(m_workingRepeatDays, block.id);
    }
    m_working.reset();
    m_workingRepeatDays.clear();
    setSelectedID(std::nullopt);
    refresh();
}

void ScheduleView::deleteSelected() {
    const std::optional<WorkBlock> block = selectedBlock();
    if (block && !isDraft(*block))
        m_store.deleteBlock(block->id);
    m_working.reset();
    m_workingRepeatDays.clear();
    setSelectedID(std::nullopt);
    refresh();
}

void ScheduleView::clearToday() {
    setSelectedID(std::nullopt);
    m_store.clearToday();
}

void ScheduleView::openNoiseVolume() {
    m_showNoiseVolume = true;
    refreshMenus();
    m_volume->adjustSize();
    const QPoint below =
        m_optionsButton->mapToGlobal(QPoint(m_optionsButton->width(), m_optionsButton->height()));
    m_volume->move(below.x() - m_volume->width(), below.y() + 2);
    m_volume->show();
}

void ScheduleView::newDay() {
    // Yesterday's block must not stay open in the editor.
    m_selectedID.reset();
    m_working.reset();
    m_workingRepeatDays.clear();
    refresh();
}

void ScheduleView::writeSettings(const std::function<void(Settings&)>& change) {
    Settings s = m_store.settings();
    change(s);
    m_store.setSettings(s);
}

void ScheduleView::refresh() {
    if (m_refreshing)
        return;
    m_refreshing = true;
    refreshHeader();

    const bool backlog = !m_store.planned().empty();
    m_backlogArea->setVisible(backlog || m_backlog.adding);
    m_planned->setPendingID(m_selectedID);
    m_planned->sync();

    m_timeline->setWorking(m_working);
    m_timeline->setRepeatDays(m_workingRepeatDays);
    m_timeline->setSelectedID(m_selectedID);
    m_dismiss->setVisible((backlog && m_backlog.expanded) || m_backlog.adding);
    if (m_dismiss->isVisible())
        m_dismiss->raise();
    if (m_banner->isVisible())
        m_banner->raise();

    refreshEditor();
    m_refreshing = false;
}

void ScheduleView::refreshHeader() {
    const std::optional<QDate> today = TimeMath::dateFromDayKey(m_clock.today());
    m_date->setText(today ? QLocale().toString(*today, QStringLiteral("dddd, MMMM d")) : QString());

    const Minutes deep = m_store.totalMinutesToday(WorkKind::deep);
    const Minutes shallow = m_store.totalMinutesToday(WorkKind::shallow);
    m_hint->setVisible(deep == 0 && shallow == 0);
    m_deepChip->setVisible(deep >= 1);
    m_shallowChip->setVisible(shallow >= 1);
    m_deepChip->setMinutes(deep);
    m_shallowChip->setMinutes(shallow);
}

void ScheduleView::refreshMenus() {
    const Settings& s = m_store.settings();
    m_chimes->setChecked(s.chimesEnabled);
    m_nudges->setChecked(s.nudgesEnabled);
    m_reminders->setChecked(s.remindersEnabled);
    m_silence->setChecked(s.silenceNotifications);
    for (QAction* a : m_noiseChoice->actions())
        a->setChecked(a->data().toInt() == static_cast<int>(s.deepWorkNoise));
    const bool wasRefreshing = std::exchange(m_refreshing, true);
    m_volume->slider()->setValue(static_cast<int>(std::lround(s.noiseVolume * 1000)));
    m_refreshing = wasRefreshing;
}

void ScheduleView::refreshStartAtLogin() {
    m_startAtLogin->setChecked(StartAtLogin(m_store.folder()).isOn());
}

void ScheduleView::refreshEditor() {
    const std::optional<WorkBlock> block = selectedBlock();
    m_editorArea->setVisible(block.has_value());
    if (!block)
        return;

    BlockEditorInput in;
    in.block = *block;
    in.isDraft = isDraft(*block);
    in.isLocked = m_store.isLocked(*block);
    in.isConfirmed = m_store.confirmedIDs().contains(block->id);
    const std::optional<MinuteRange> gap =
        m_store.freeGap(block->startMinutes, block->id, m_workingRepeatDays);
    const Minutes g0 = gap ? gap->lower : block->startMinutes;
    const Minutes g1 = gap ? gap->upper : block->endMinutes();
    in.startRange = {g0, std::max(g0, g1 - block->durationMinutes)};
    in.durationRange = {gridStep, std::max(gridStep, g1 - block->startMinutes)};
    in.repeatDays = m_workingRepeatDays;
    in.conflictDays = m_store.conflictingRepeatDays(*block);
    m_editor->setInput(in);
}

} // namespace quillmere

#include "ScheduleView.moc"
