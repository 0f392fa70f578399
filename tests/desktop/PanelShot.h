#pragma once

#include <QColor>
#include <QImage>
#include <QList>
#include <QRect>

#include <cstdlib>
#include <optional>

namespace quillmere::test {

// A grab of the open panel, read the way the layout predicts: full-width dividers between the
// header, the backlog tray, the timeline and the editor; the timeline's red now dot; the tint of
// a block card. Positions are panel coordinates.
class PanelShot {
public:
    // The now dot sits left of the cards, centred on x = label width + 3 + half the dot.
    static constexpr int nowDotX = 54;
    static constexpr qreal hourHeight = 64;

    explicit PanelShot(QImage image) : m_image(std::move(image)) {}

    const QImage& image() const { return m_image; }
    QColor at(int x, int y) const { return m_image.pixelColor(x, y); }
    QColor background() const { return at(3, 3); }

    bool differs(QColor a, QColor b, int tolerance = 6) const {
        return std::abs(a.red() - b.red()) + std::abs(a.green() - b.green()) +
                   std::abs(a.blue() - b.blue()) >
               tolerance;
    }
    bool isBackground(int x, int y) const { return !differs(at(x, y), background()); }

    // Rows holding a one-pixel line across the whole width.
    QList<int> dividers() const {
        QList<int> rows;
        for (int y = 1; y + 1 < m_image.height(); ++y) {
            if (isBackground(3, y) || !isBackground(3, y - 1) || !isBackground(3, y + 1))
                continue;
            if (!differs(at(3, y), at(m_image.width() / 2, y)) &&
                !differs(at(3, y), at(m_image.width() - 20, y)))
                rows << y;
        }
        return rows;
    }
    std::optional<int> divider(int index) const {
        const QList<int> rows = dividers();
        if (index < 0)
            index += static_cast<int>(rows.size());
        if (index < 0 || index >= rows.size())
            return std::nullopt;
        return rows[index];
    }

    static bool isNowRed(QColor c) { return c.red() > 200 && c.green() < 140 && c.blue() < 140; }
    // The centre row of the now dot.
    std::optional<int> nowY() const {
        int first = -1;
        int last = -1;
        for (int y = 0; y < m_image.height(); ++y)
            if (isNowRed(at(nowDotX, y))) {
                if (first < 0)
                    first = y;
                last = y;
            }
        if (first < 0)
            return std::nullopt;
        return (first + last) / 2;
    }
    // Where a minute of today is, counted from the now dot at `nowMinutes`.
    std::optional<int> minuteY(int minutes, int nowMinutes) const {
        const std::optional<int> now = nowY();
        if (!now)
            return std::nullopt;
        return *now + qRound((minutes - nowMinutes) * hourHeight / 60.0);
    }

    // A card's fill: the kind's colour laid thinly over the panel.
    static bool isDeepTint(QColor c) {
        return c.red() - c.green() > 30 && c.red() - c.blue() > 15 && !isNowRed(c);
    }
    // The rows of column x between top and bottom (exclusive) that a predicate accepts.
    template <typename Pred> QList<int> rowsWhere(int x, int top, int bottom, Pred pred) const {
        QList<int> rows;
        for (int y = std::max(top, 0); y < std::min(bottom, m_image.height()); ++y)
            if (pred(at(x, y)))
                rows << y;
        return rows;
    }

    // The editor's seven day toggles: the rows below `top` where seven discs of 14 to 20
    // pixels stand side by side in the right half of the panel.
    QList<QRect> dayToggles(int top) const {
        QList<int> centreRows;
        QList<QPair<int, int>> spans;
        for (int y = top; y < m_image.height(); ++y) {
            QList<QPair<int, int>> found;
            int start = -1;
            for (int x = m_image.width() / 2; x < m_image.width() - 2; ++x) {
                const bool ink = !isBackground(x, y);
                if (ink && start < 0)
                    start = x;
                if (!ink && start >= 0) {
                    found << qMakePair(start, x - 1);
                    start = -1;
                }
            }
            bool small = found.size() == 7;
            for (const auto& span : found)
                small = small && span.second - span.first >= 13 && span.second - span.first < 20;
            if (small) {
                centreRows << y;
                spans = found; // the widest row is the circles' middle
            }
        }
        QList<QRect> boxes;
        if (centreRows.isEmpty())
            return boxes;
        const int mid = (centreRows.first() + centreRows.last()) / 2;
        const int half = (centreRows.last() - centreRows.first()) / 2;
        for (const auto& span : spans)
            boxes << QRect(span.first, mid - half, span.second - span.first + 1, 2 * half + 1);
        return boxes;
    }
    // The darkest grey level inside a box.
    int darkest(const QRect& box) const {
        int level = 255;
        for (int y = box.top(); y <= box.bottom(); ++y)
            for (int x = box.left(); x <= box.right(); ++x)
                level = std::min(level, qGray(m_image.pixel(x, y)));
        return level;
    }

private:
    QImage m_image;
};

} // namespace quillmere::test
