#pragma once

#include "focus/NudgeModel.h"

#include <QColor>
#include <QObject>
#include <QPointer>
#include <QRect>
#include <QString>
#include <QTimer>

#include <functional>
#include <memory>
#include <optional>

class QAbstractAnimation;

namespace quillmere {

class NudgeView;

// The floating card both nudges show in: it drops in under the tray icon, stays for a given
// time and fades away, never taking focus. A show while it is up replaces the texts in place and
// restarts the full display time; a show while it fades brings it back.
class NudgeCard final : public QObject {
    Q_OBJECT
public:
    using AnchorProvider = std::function<std::optional<QRect>()>;

    static constexpr int fadeInMs = 280;
    static constexpr int fadeOutMs = 220;
    static constexpr int dropDistance = 12;

    explicit NudgeCard(QObject* parent = nullptr);
    ~NudgeCard() override;

    NudgeModel& model() { return *m_model; }
    // The tray icon's geometry when the shell knows it; the card centres under it.
    void setAnchorProvider(AnchorProvider provider) { m_anchor = std::move(provider); }

    void show(const QString& title, const QString& detail, const QColor& accent, double seconds);
    void dismiss();

    // The window, once the first show made it; for the shell and tests.
    NudgeView* panel() const;
    bool isDismissPending() const { return m_dismissTimer.isActive(); }

private:
    void createPanel();
    QRect targetFrame(int height) const;
    void animate(const QPoint& to, qreal opacity, int durationMs, bool easeOut,
                 std::function<void()> done);

    NudgeModel* m_model;
    std::unique_ptr<NudgeView> m_panel;
    QPointer<QAbstractAnimation> m_animation;
    QTimer m_dismissTimer;
    AnchorProvider m_anchor;
    // A fade-out has begun; its first frame may not have lowered the opacity yet.
    bool m_leaving = false;
};

} // namespace quillmere
