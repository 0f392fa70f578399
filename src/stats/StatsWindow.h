#pragma once

#include "stats/StatsContent.h"

#include <QWidget>

class QButtonGroup;
class QLabel;

namespace quillmere {

class DaysChartView;
class TitlesView;
class YearHeatmapView;

// The record kept in stats.sqlite, shown: the last weeks day by day against their plan, a
// year of deep work, the running figures and the leading titles. It only reads; the export
// writes a file of the user's choosing and nothing else.
class StatsWindow final : public QWidget {
    Q_OBJECT

public:
    enum class ExportFormat { csv, json };

    static constexpr int rangeWeeks[] = {2, 4, 12};

    explicit StatsWindow(QString folder, QWidget* parent = nullptr);

    void setContent(const StatsContent& content);
    const StatsContent& content() const { return m_content; }
    void showWeeks(int weeks);

    // Writes every confirmed row to `path`; returns whether the file was written. The window
    // shows the outcome in one line.
    bool exportTo(const QString& path, ExportFormat format);

private:
    QWidget* buildHeader();
    QWidget* buildFigures();
    void chooseExport(ExportFormat format);
    void refresh();
    QLabel* figure(const QString& name);

    QString m_folder;
    StatsContent m_content;
    int m_weeks = rangeWeeks[0];
    QLabel* m_problem = nullptr;
    QLabel* m_exportStatus = nullptr;
    QButtonGroup* m_range = nullptr;
    DaysChartView* m_days = nullptr;
    YearHeatmapView* m_year = nullptr;
    TitlesView* m_titles = nullptr;
};

} // namespace quillmere
