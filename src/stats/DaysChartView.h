#pragma once

#include "stats/StatsContent.h"
#include "stats/StatsGeometry.h"

#include <QWidget>

namespace quillmere {

// Confirmed minutes per day over the last weeks, stacked by kind, with the day's plan drawn
// beside them for the days blocks.json still keeps.
class DaysChartView final : public QWidget {
    Q_OBJECT

public:
    // The plan is drawn lighter than the record, so done and planned read apart at a glance.
    static constexpr qreal plannedOpacity = 0.35;

    explicit DaysChartView(QWidget* parent = nullptr);

    void setContent(const StatsContent& content, int days);
    int days() const { return m_days; }
    QDate dayAt(int index) const { return m_content.today.addDays(index - m_days + 1); }
    StatsGeometry::DaysChart geometry() const;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void paintStack(QPainter& p, const QRectF& column, const StatsQueries::KindMinutes& minutes,
                    qreal opacity, const StatsGeometry::DaysChart& chart) const;

    StatsContent m_content;
    int m_days = 14;
};

} // namespace quillmere
