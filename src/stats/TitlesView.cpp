#include "stats/TitlesView.h"

#include "model/TimeMath.h"
#include "ui/KindColors.h"
#include "ui/Palette.h"
#include "ui/Typography.h"

#include <QFontMetrics>
#include <QPainter>

namespace quillmere {

namespace {
constexpr qreal titleShare = 0.45;
constexpr qreal durationWidth = 64;
} // namespace

TitlesView::TitlesView(QWidget* parent) : QWidget(parent) {
    setObjectName(QStringLiteral("titles"));
    setFont(ui::font(ui::TextStyle::callout));
}

void TitlesView::setTitles(std::vector<StatsQueries::TitleMinutes> titles) {
    m_titles = std::move(titles);
    updateGeometry();
    update();
}

int TitlesView::rowHeight() const {
    return QFontMetrics(font()).height() + 8;
}

QRectF TitlesView::barTrack(int index) const {
    const qreal left = width() * titleShare + 8;
    const qreal right = width() - durationWidth - 8;
    return {left, index * rowHeight() + 4.0, std::max<qreal>(right - left, 0), rowHeight() - 8.0};
}

QSize TitlesView::sizeHint() const {
    return {320, std::max<int>(1, static_cast<int>(StatsQueries::topTitleCount)) * rowHeight()};
}

void TitlesView::paintEvent(QPaintEvent*) {
    QPainter p(this);
    const QFontMetrics metrics(font());
    const Minutes most = m_titles.empty() ? 0 : m_titles.front().minutes;
    for (std::size_t i = 0; i < m_titles.size(); ++i) {
        const int index = static_cast<int>(i);
        const auto& [title, minutes] = m_titles[i];
        const QRectF row(0, index * rowHeight(), width(), rowHeight());
        p.setPen(palette().color(QPalette::WindowText));
        p.drawText(QRectF(row.left(), row.top(), width() * titleShare, row.height()),
                   Qt::AlignLeft | Qt::AlignVCenter,
                   metrics.elidedText(QString(title).replace(u'\n', u' '), Qt::ElideRight,
                                      static_cast<int>(width() * titleShare)));
        QRectF bar = barTrack(index);
        p.fillRect(bar, ui::secondaryColor(palette(), 0.12));
        bar.setWidth(most > 0 ? bar.width() * static_cast<qreal>(minutes) / most : 0);
        p.fillRect(bar, ui::kindColor(WorkKind::deep));
        p.setPen(ui::secondaryColor(palette()));
        p.drawText(QRectF(width() - durationWidth, row.top(), durationWidth, row.height()),
                   Qt::AlignRight | Qt::AlignVCenter, TimeMath::durationString(minutes));
    }
}

} // namespace quillmere
