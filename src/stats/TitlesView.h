#pragma once

#include "store/StatsQueries.h"

#include <QWidget>

#include <vector>

namespace quillmere {

// The titles with the most confirmed deep minutes of the last 30 days, each with a bar
// against the first.
class TitlesView final : public QWidget {
    Q_OBJECT

public:
    explicit TitlesView(QWidget* parent = nullptr);

    void setTitles(std::vector<StatsQueries::TitleMinutes> titles);
    int rowHeight() const;
    // The bar of row `index` when it is filled completely (the first row's).
    QRectF barTrack(int index) const;

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    std::vector<StatsQueries::TitleMinutes> m_titles;
};

} // namespace quillmere
