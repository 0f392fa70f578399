#pragma once

#include "stats/StatsContent.h"
#include "stats/StatsGeometry.h"

#include <QWidget>

namespace quillmere {

// A year of deep work at a glance: one cell per day over the last 53 weeks, weeks as columns
// and weekdays as rows, darker for more confirmed deep minutes.
class YearHeatmapView final : public QWidget {
    Q_OBJECT

public:
    // How strongly a day without deep work is drawn: present, but quieter than any work.
    static constexpr qreal emptyOpacity = 0.18;

    explicit YearHeatmapView(QWidget* parent = nullptr);

    void setContent(const StatsContent& content);
    StatsGeometry::Heatmap geometry() const;
    // What the cell under `point` says when the pointer rests on it; empty off the cells.
    QString toolTipAt(const QPoint& point) const;

    QSize sizeHint() const override;

protected:
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    StatsContent m_content;
};

} // namespace quillmere
