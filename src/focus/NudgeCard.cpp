#include "focus/NudgeCard.h"

#include "focus/Compositor.h"
#include "focus/NudgeFrame.h"
#include "focus/NudgeView.h"

#include <QEasingCurve>
#include <QParallelAnimationGroup>
#include <QPropertyAnimation>

#include <cmath>
#include <limits>
#include <utility>

namespace quillmere {

namespace {
int displayMs(double seconds) {
    if (!(seconds > 0))
        return 0;
    const double ms = std::round(seconds * 1000.0);
    return ms >= std::numeric_limits<int>::max() ? std::numeric_limits<int>::max()
                                                 : static_cast<int>(ms);
}
} // namespace

NudgeCard::NudgeCard(QObject* parent) : QObject(parent), m_model(new NudgeModel(this)) {
    m_dismissTimer.setSingleShot(true);
    m_dismissTimer.setTimerType(Qt::PreciseTimer);
    connect(&m_dismissTimer, &QTimer::timeout, this, &NudgeCard::dismiss);
}

NudgeCard::~NudgeCard() {
    delete m_animation.data();
}

NudgeView* NudgeCard::panel() const {
    return m_panel.get();
}

void NudgeCard::createPanel() {
    m_panel =
        std::make_unique<NudgeView>(m_model, nullptr,
                                    Qt::ToolTip | Qt::FramelessWindowHint |
                                        Qt::WindowStaysOnTopHint | Qt::WindowDoesNotAcceptFocus);
    m_panel->setAttribute(Qt::WA_ShowWithoutActivating);
    m_panel->setFocusPolicy(Qt::NoFocus);
    m_panel->setTranslucent(compositorPresent());
}

QRect NudgeCard::targetFrame(int height) const {
    const std::optional<QRect> anchor = m_anchor ? m_anchor() : std::nullopt;
    const std::optional<QRect> usableAnchor = anchor && anchor->width() > 0 ? anchor : std::nullopt;
    return nudgeTargetFrame(height, usableAnchor, nudgeScreenArea(usableAnchor));
}

void NudgeCard::show(const QString& title, const QString& detail, const QColor& accent,
                     double seconds) {
    m_model->setTitle(title);
    m_model->setDetail(detail);
    m_model->setAccent(accent);
    m_model->setOnTap([card = QPointer<NudgeCard>(this)] {
        if (card)
            card->dismiss();
    });
    m_dismissTimer.start(displayMs(seconds));
    const bool wasLeaving = std::exchange(m_leaving, false);

    if (!m_panel)
        createPanel();
    // The window's name says what the card says, for screen readers and window lists.
    m_panel->setWindowTitle(title % QStringLiteral(" — ") % detail);
    if (m_panel->isVisible()) {
        // Fully up: the texts changed in place and the frame stays. Fading out: come back
        // from wherever the fade has taken it.
        if (m_panel->cardOpacity() >= 1.0 && !wasLeaving)
            return;
        animate(targetFrame(m_panel->height()).topLeft(), 1.0, fadeInMs, true, {});
        return;
    }
    const QRect target = targetFrame(m_panel->fittingHeight());
    m_panel->move(target.topLeft() - QPoint(0, dropDistance));
    m_panel->setCardOpacity(0.0);
    m_panel->show();
    m_panel->raise();
    animate(target.topLeft(), 1.0, fadeInMs, true, {});
}

void NudgeCard::dismiss() {
    m_dismissTimer.stop();
    if (!m_panel || !m_panel->isVisible())
        return;
    m_leaving = true;
    animate(m_panel->pos() - QPoint(0, dropDistance), 0.0, fadeOutMs, false,
            [panel = QPointer<NudgeView>(m_panel.get())] {
                // A show during the fade raised the opacity again and wants the card kept.
                if (panel && panel->cardOpacity() == 0.0)
                    panel->hide();
            });
}

void NudgeCard::animate(const QPoint& to, qreal opacity, int durationMs, bool easeOut,
                        std::function<void()> done) {
    if (m_animation)
        m_animation->stop();
    const QEasingCurve curve(easeOut ? QEasingCurve::OutCubic : QEasingCurve::InCubic);
    auto* group = new QParallelAnimationGroup(this);
    auto* move = new QPropertyAnimation(m_panel.get(), "pos", group);
    move->setEndValue(to);
    move->setDuration(durationMs);
    move->setEasingCurve(curve);
    auto* fade = new QPropertyAnimation(m_panel.get(), "cardOpacity", group);
    fade->setEndValue(opacity);
    fade->setDuration(durationMs);
    fade->setEasingCurve(curve);
    if (done)
        connect(group, &QAbstractAnimation::finished, this, std::move(done));
    m_animation = group;
    group->start(QAbstractAnimation::DeleteWhenStopped);
}

} // namespace quillmere
