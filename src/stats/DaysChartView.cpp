#include "stats/DaysChartView.h"

#include "model/TimeMath.h"
#include "ui/KindColors.h"
#include "ui/Palette.h"
#include "ui/Typography.h"

#include <QLocale>
#include <QPainter>

namespace quillmere {

namespace {

Minutes hourStep(Minutes scale) {
    if (scale <= 4 * 60)
        return 60;
    if (scale <= 8 * 60)
        return 120;
    return 240;
}

} // namespace

DaysChartView::DaysChartView(QWidget* parent) : QWidget(parent) {
    setObjectName(QStringLiteral("daysChart"));
    setMinimumHeight(160);
}

void DaysChartView::setContent(const StatsContent& content, int days) {
    m_content = content;
    m_days = days;
    update();
}

StatsGeometry::DaysChart DaysChartView::geometry() const {
    Minutes tallest = 0;
    for (int i = 0; i < m_days; ++i) {
        const QDate day = dayAt(i);
        for (const auto* days : {&m_content.record.confirmed, &m_content.planned}) {
            const auto it = days->find(day);
            if (it != days->end())
                tallest = std::max(tallest, it->second.total());
        }
    }
    return StatsGeometry::daysChart(size(), m_days, tallest);
}

void DaysChartView::paintStack(QPainter& p, const QRectF& column,
                               const StatsQueries::KindMinutes& minutes, qreal opacity,
                               const StatsGeometry::DaysChart& chart) const {
    Minutes below = 0;
    for (const WorkKind kind : allWorkKinds) {
        if (minutes.of(kind) <= 0)
            continue;
        p.fillRect(chart.segment(column, below, minutes.of(kind)), ui::kindColor(kind, opacity));
        below += minutes.of(kind);
    }
}

void DaysChartView::paintEvent(QPaintEvent*) {
    QPainter p(this);
    const StatsGeometry::DaysChart chart = geometry();
    const QColor quiet = ui::secondaryColor(palette());
    p.setFont(ui::font(ui::TextStyle::caption2));

    const Minutes step = hourStep(chart.scaleMinutes);
    for (Minutes m = 0; m <= chart.scaleMinutes; m += step) {
        const qreal y = chart.y(m);
        p.setPen(ui::secondaryColor(palette(), m == 0 ? 0.6 : 0.25));
        p.drawLine(QPointF(chart.plot.left(), y), QPointF(chart.plot.right(), y));
        p.setPen(quiet);
        p.drawText(QRectF(0, y - 8, StatsGeometry::daysLeftMargin - 6, 16),
                   Qt::AlignRight | Qt::AlignVCenter, TimeMath::durationString(m));
    }

    const QLocale locale;
    for (int i = 0; i < m_days; ++i) {
        const QDate day = dayAt(i);
        const auto done = m_content.record.confirmed.find(day);
        if (done != m_content.record.confirmed.end())
            paintStack(p, chart.doneColumn(i), done->second, 1.0, chart);
        const auto planned = m_content.planned.find(day);
        if (planned != m_content.planned.end())
            paintStack(p, chart.plannedColumn(i), planned->second, plannedOpacity, chart);
        // Two weeks leave room to number every day; longer ranges name the weeks only.
        const bool weekStart = day.dayOfWeek() == m_content.firstDayOfWeek;
        if (weekStart || m_days <= 14) {
            const QRectF slot = chart.slot(i);
            p.setPen(quiet);
            p.drawText(QRectF(slot.left(), chart.plot.bottom() + 2,
                              m_days <= 14 ? slot.width() : 80,
                              StatsGeometry::daysBottomMargin - 2),
                       (m_days <= 14 ? Qt::AlignHCenter : Qt::AlignLeft) | Qt::AlignVCenter,
                       weekStart ? locale.toString(day, QStringLiteral("MMM d"))
                                 : QString::number(day.day()));
        }
    }
}

} // namespace quillmere
