#include "stats/YearHeatmapView.h"

#include "model/TimeMath.h"
#include "ui/KindColors.h"
#include "ui/Palette.h"
#include "ui/Typography.h"

#include <QHelpEvent>
#include <QLocale>
#include <QPainter>
#include <QToolTip>

namespace quillmere {

YearHeatmapView::YearHeatmapView(QWidget* parent) : QWidget(parent) {
    setObjectName(QStringLiteral("yearHeatmap"));
    setMinimumHeight(static_cast<int>(StatsGeometry::heatmapTopMargin) + 7 * 8);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

QSize YearHeatmapView::sizeHint() const {
    const int pitch = 13;
    return {static_cast<int>(StatsGeometry::heatmapLeftMargin) +
                StatsGeometry::heatmapWeeks * pitch,
            static_cast<int>(StatsGeometry::heatmapTopMargin) + 7 * pitch};
}

void YearHeatmapView::setContent(const StatsContent& content) {
    m_content = content;
    update();
}

StatsGeometry::Heatmap YearHeatmapView::geometry() const {
    return StatsGeometry::heatmap(size(), m_content.today, m_content.firstDayOfWeek);
}

QString YearHeatmapView::toolTipAt(const QPoint& point) const {
    const auto day = geometry().dayAt(point);
    if (!day)
        return {};
    StatsQueries::KindMinutes minutes;
    if (const auto it = m_content.record.confirmed.find(*day);
        it != m_content.record.confirmed.end())
        minutes = it->second;
    return QStringLiteral("%1\nDeep Work: %2\nShallow Work: %3")
        .arg(QLocale().toString(*day, QLocale::LongFormat), TimeMath::durationString(minutes.deep),
             TimeMath::durationString(minutes.shallow));
}

bool YearHeatmapView::event(QEvent* event) {
    if (event->type() == QEvent::ToolTip) {
        const auto* help = static_cast<QHelpEvent*>(event);
        const QString text = toolTipAt(help->pos());
        if (text.isEmpty())
            QToolTip::hideText();
        else
            QToolTip::showText(help->globalPos(), text, this);
        return true;
    }
    return QWidget::event(event);
}

void YearHeatmapView::paintEvent(QPaintEvent*) {
    QPainter p(this);
    const StatsGeometry::Heatmap map = geometry();
    if (map.cell <= 0 || !m_content.today.isValid())
        return;
    const QLocale locale;
    const QColor quiet = ui::secondaryColor(palette());
    p.setFont(ui::font(ui::TextStyle::caption2));
    p.setPen(quiet);

    // Every other weekday is named, as many calendars do, so the labels never crowd.
    for (int row = 1; row < 7; row += 2) {
        const QDate day = map.first.addDays(row);
        const QRectF cell = map.cellRect(day);
        p.drawText(
            QRectF(0, cell.top() - 4, StatsGeometry::heatmapLeftMargin - 4, cell.height() + 8),
            Qt::AlignRight | Qt::AlignVCenter,
            locale.dayName(day.dayOfWeek(), QLocale::ShortFormat));
    }

    const QColor empty = ui::secondaryColor(palette(), emptyOpacity);
    p.setRenderHint(QPainter::Antialiasing, false);
    for (QDate day = map.first; day <= map.today; day = day.addDays(1)) {
        const QRectF cell = map.cellRect(day);
        if (day.day() == 1) {
            p.setPen(quiet);
            p.drawText(QRectF(cell.left(), 0, 60, StatsGeometry::heatmapTopMargin - 2),
                       Qt::AlignLeft | Qt::AlignBottom,
                       locale.monthName(day.month(), QLocale::ShortFormat));
        }
        const auto it = m_content.record.confirmed.find(day);
        const int level =
            StatsGeometry::heatLevel(it == m_content.record.confirmed.end() ? 0 : it->second.deep);
        p.fillRect(cell, level == 0
                             ? empty
                             : ui::kindColor(WorkKind::deep, StatsGeometry::heatOpacity(level)));
    }
}

} // namespace quillmere
