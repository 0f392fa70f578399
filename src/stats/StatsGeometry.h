#pragma once

#include "model/Minutes.h"

#include <QDate>
#include <QRectF>
#include <QSizeF>

#include <optional>

// Where the statistics charts put things, as plain arithmetic over the widget's size, so the
// painting and the tests that look at its pixels agree on every rectangle.
namespace quillmere::StatsGeometry {

// The days chart: one slot per day, oldest on the left; in each slot the confirmed minutes
// on the left and the planned minutes beside them on the right, both stacked deep under
// shallow, against one scale of whole hours.
struct DaysChart {
    QRectF plot;
    int days = 0;
    Minutes scaleMinutes = 60;

    QRectF slot(int index) const;
    QRectF doneColumn(int index) const;
    QRectF plannedColumn(int index) const;
    qreal y(Minutes minutes) const;
    // The part of a column from `below` up to `below + minutes`.
    QRectF segment(const QRectF& column, Minutes below, Minutes minutes) const;
};

inline constexpr qreal daysLeftMargin = 40;
inline constexpr qreal daysBottomMargin = 20;
inline constexpr qreal daysTopMargin = 8;
inline constexpr qreal daysRightMargin = 8;

// The scale is the tallest column rounded up to whole hours, at least one hour.
DaysChart daysChart(const QSizeF& size, int days, Minutes tallest);

// The year heatmap: 53 week columns, the last holding today; seven rows, the locale's first
// weekday on top.
struct Heatmap {
    QPointF origin;
    qreal pitch = 0; // one cell plus the gap after it
    qreal cell = 0;
    QDate first; // the day in column 0, row 0
    QDate today;

    QRectF cellRect(const QDate& day) const;
    std::optional<QDate> dayAt(const QPointF& point) const;
};

inline constexpr int heatmapWeeks = 53;
inline constexpr qreal heatmapLeftMargin = 34;
inline constexpr qreal heatmapTopMargin = 16;

Heatmap heatmap(const QSizeF& size, const QDate& today, Qt::DayOfWeek firstDayOfWeek);

// How strongly a day's deep minutes colour its cell: 0 none, then under 1 h, under 2 h,
// under 4 h, and 4 h or more.
int heatLevel(Minutes deep);
qreal heatOpacity(int level);

} // namespace quillmere::StatsGeometry
