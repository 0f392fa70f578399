#include "stats/StatsGeometry.h"

#include "store/StatsQueries.h"

#include <algorithm>
#include <cmath>

namespace quillmere::StatsGeometry {

QRectF DaysChart::slot(int index) const {
    const qreal width = plot.width() / std::max(days, 1);
    return {plot.left() + index * width, plot.top(), width, plot.height()};
}

QRectF DaysChart::doneColumn(int index) const {
    const QRectF s = slot(index);
    const qreal gap = s.width() * 0.12;
    const qreal width = (s.width() - 3 * gap) / 2;
    return {s.left() + gap, s.top(), width, s.height()};
}

QRectF DaysChart::plannedColumn(int index) const {
    const QRectF done = doneColumn(index);
    const qreal gap = slot(index).width() * 0.12;
    return done.translated(done.width() + gap, 0);
}

qreal DaysChart::y(Minutes minutes) const {
    return plot.bottom() - plot.height() * static_cast<qreal>(minutes) / scaleMinutes;
}

QRectF DaysChart::segment(const QRectF& column, Minutes below, Minutes minutes) const {
    const qreal bottom = y(below);
    const qreal top = y(below + minutes);
    return {column.left(), top, column.width(), bottom - top};
}

DaysChart daysChart(const QSizeF& size, int days, Minutes tallest) {
    DaysChart chart;
    chart.plot = QRectF(daysLeftMargin, daysTopMargin,
                        std::max<qreal>(size.width() - daysLeftMargin - daysRightMargin, 1),
                        std::max<qreal>(size.height() - daysTopMargin - daysBottomMargin, 1));
    chart.days = days;
    chart.scaleMinutes = std::max<Minutes>(60, (tallest + 59) / 60 * 60);
    return chart;
}

QRectF Heatmap::cellRect(const QDate& day) const {
    const qint64 offset = first.daysTo(day);
    const qreal column = static_cast<qreal>(offset / 7);
    const qreal row = static_cast<qreal>(offset % 7);
    return {origin.x() + column * pitch, origin.y() + row * pitch, cell, cell};
}

std::optional<QDate> Heatmap::dayAt(const QPointF& point) const {
    if (pitch <= 0 || point.x() < origin.x() || point.y() < origin.y())
        return std::nullopt;
    const auto column = static_cast<int>(std::floor((point.x() - origin.x()) / pitch));
    const auto row = static_cast<int>(std::floor((point.y() - origin.y()) / pitch));
    if (column >= heatmapWeeks || row >= 7)
        return std::nullopt;
    const QDate day = first.addDays(column * 7 + row);
    if (day > today || !cellRect(day).contains(point))
        return std::nullopt;
    return day;
}

Heatmap heatmap(const QSizeF& size, const QDate& today, Qt::DayOfWeek firstDayOfWeek) {
    Heatmap map;
    map.origin = QPointF(heatmapLeftMargin, heatmapTopMargin);
    map.pitch = std::max<qreal>(0, std::min((size.width() - heatmapLeftMargin) / heatmapWeeks,
                                            (size.height() - heatmapTopMargin) / 7));
    map.cell = std::max<qreal>(0, map.pitch - std::max<qreal>(1, std::round(map.pitch * 0.15)));
    map.first = StatsQueries::weekStart(today, firstDayOfWeek).addDays(-7 * (heatmapWeeks - 1));
    map.today = today;
    return map;
}

int heatLevel(Minutes deep) {
    if (deep <= 0)
        return 0;
    if (deep < 60)
        return 1;
    if (deep < 120)
        return 2;
    if (deep < 240)
        return 3;
    return 4;
}

qreal heatOpacity(int level) {
    static constexpr qreal opacities[] = {0, 0.3, 0.55, 0.8, 1.0};
    return opacities[std::clamp(level, 0, 4)];
}

} // namespace quillmere::StatsGeometry
