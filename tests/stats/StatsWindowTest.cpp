#include "stats/StatsWindow.h"
#include "stats/DaysChartView.h"
#include "stats/YearHeatmapView.h"
#include "store/StatsDB.h"
#include "ui/KindColors.h"

#include "support/Colors.h"
#include "support/Printers.h"
#include "support/TempDataDir.h"
#include "support/Widgets.h"

#include <QAbstractButton>
#include <QHelpEvent>
#include <QImage>
#include <QLabel>
#include <QToolTip>

using namespace quillmere;
using namespace quillmere::StatsQueries;
using namespace quillmere::test;
using namespace Qt::StringLiterals;
using quillmere::StatsGeometry::heatOpacity;
using quillmere::ui::kindColor;

// One record seen in every part of the window: the chart of the last weeks, the figures, the
// year's heatmap with either first weekday, then a damaged file and an export.
TEST(StatsWindow, ChartFiguresHeatmapProblemAndExportShowOneRecord) {
    TempDataDir dir;
    StatsWindow window{dir.path()};
    const QDate today(2024, 3, 4); // a Monday
    StatsContent content{.record = {}, .planned = {{today, {180, 60}}}, .today = today};
    window.resize(900, 700);
    window.show();
    const auto show = [&](Qt::DayOfWeek first = Qt::Monday) {
        content.firstDayOfWeek = first;
        window.setContent(content);
        QCoreApplication::processEvents();
    };
    // What a view shows at the middle of `r`.
    const auto pixel = [](QWidget* view, const QRectF& r) {
        return view->grab().toImage().pixelColor(r.center().toPoint());
    };
    const std::tuple<QDate, KindMinutes, int> days[] = {
        {QDate(2023, 3, 9), {240, 0}, 4},   // the oldest day the heatmap shows, Monday-first
        {QDate(2023, 10, 29), {300, 0}, 4}, // a day of 25 hours
        {QDate(2024, 1, 1), {45, 30}, 1},   // New Year's Day
        {QDate(2024, 2, 10), {30, 0}, 1},   // shown by the chart's four weeks only
        {QDate(2024, 3, 1), {30, 0}, 1},    // this month, not this week
        {today.addDays(-1), {0, 60}, 0},    // shallow only: no streak, no heat
        {today, {120, 60}, 3},
    };
    for (const auto& [day, minutes, level] : days)
        content.record.confirmed[day] = minutes;
    show();
    auto* chart = window.findChild<DaysChartView*>();
    const StatsGeometry::DaysChart g = chart->geometry();
    EXPECT_EQ(std::pair(g.days, g.scaleMinutes), std::pair(14, Minutes{240}));
    const QColor background = pixel(chart, g.slot(0));
    const QRectF done = g.doneColumn(13), planned = g.plannedColumn(13);
    const std::pair<QRectF, QColor> expected[] = {
        {g.segment(done, 0, 120), kindColor(WorkKind::deep)},
        {g.segment(done, 120, 60), kindColor(WorkKind::shallow)},
        {g.segment(done, 180, 50), background},
        {g.segment(planned, 0, 180), kindColor(WorkKind::deep, DaysChartView::plannedOpacity)},
        {g.segment(planned, 180, 60), kindColor(WorkKind::shallow, DaysChartView::plannedOpacity)},
        // Yesterday was done but is no longer planned in the kept days: no plan column.
        {g.segment(g.doneColumn(12), 0, 60), kindColor(WorkKind::shallow)},
        {g.segment(g.plannedColumn(12), 0, 60), background},
    };
    for (const auto& [rect, colour] : expected)
        EXPECT_TRUE(near(pixel(chart, rect), over(colour, background)));
    // Four weeks reach back to 10 February.
    QTest::mouseClick(window.findChild<QAbstractButton*>(u"weeks4"_s), Qt::LeftButton);
    const StatsGeometry::DaysChart wide = chart->geometry();
    ASSERT_EQ(wide.days, 28);
    EXPECT_TRUE(
        near(pixel(chart, wide.segment(wide.doneColumn(4), 0, 30)), kindColor(WorkKind::deep)));

    const std::pair<const char*, const char*> figures[] = {
        {"week.deep", "2 h"},       {"week.shallow", "1 h"},       {"month.deep", "2 h 30 m"},
        {"month.shallow", "2 h"},   {"allTime.deep", "12 h 45 m"}, {"allTime.shallow", "2 h 30 m"},
        {"currentStreak", "1 day"}, {"longestStreak", "1 day"},    {"averageDeep", "1 h 49 m"}};
    for (const auto& [name, text] : figures)
        EXPECT_EQ(child<QLabel>(&window, name)->text(), QString::fromUtf8(text)) << name;
    EXPECT_FALSE(child<QLabel>(&window, "problem")->isVisible());

    // The heatmap puts weeks in columns from the locale's first weekday, today in the last.
    for (const auto& [first, firstCell, todayRow] :
         {std::tuple{Qt::Monday, QDate(2023, 3, 6), 0},
          std::tuple{Qt::Sunday, QDate(2023, 3, 5), 1}}) {
        show(first);
        auto* map = window.findChild<YearHeatmapView*>();
        const StatsGeometry::Heatmap h = map->geometry();
        const QRectF cell = h.cellRect(today);
        EXPECT_EQ(std::pair(h.first, cell.topLeft()),
                  std::pair(firstCell, h.origin + QPointF(52, todayRow) * h.pitch));

        const QColor notYet = pixel(map, h.cellRect(today.addDays(1)));
        const QColor empty = pixel(map, h.cellRect(QDate(2024, 1, 2)));
        for (const auto& [day, minutes, level] : days)
            EXPECT_TRUE(
                near(pixel(map, h.cellRect(day)),
                     level ? over(kindColor(WorkKind::deep, heatOpacity(level)), notYet) : empty))
                << day.toString(Qt::ISODate).toStdString();
        EXPECT_FALSE(near(empty, notYet, 12));
        EXPECT_FALSE(near(empty, over(kindColor(WorkKind::deep, 0.3), notYet), 12));

        const QPoint middle = cell.center().toPoint();
        QHelpEvent help(QEvent::ToolTip, middle, map->mapToGlobal(middle));
        QCoreApplication::sendEvent(map, &help);
        EXPECT_EQ(QToolTip::text(), QLocale().toString(today, QLocale::LongFormat) +
                                        u"\nDeep Work: 2 h\nShallow Work: 1 h"_s);
        EXPECT_TRUE(map->toolTipAt(h.cellRect(today.addDays(1)).center().toPoint()).isEmpty());
        EXPECT_TRUE(map->toolTipAt(QPoint(2, 2)).isEmpty());
    }

    // A damaged file: the window says so in one line and shows an empty record.
    dir.write(u"stats.sqlite"_s, QByteArray(2048, 'x'));
    content = loadStatsContent(dir.path(), today, {}, Qt::Monday);
    show();
    EXPECT_TRUE(child<QLabel>(&window, "problem")->isVisible());
    EXPECT_EQ(child<QLabel>(&window, "problem")->text(), explanation(ReadProblem::damaged));
    EXPECT_EQ(child<QLabel>(&window, "allTime.deep")->text(), u"0 m"_s);
    EXPECT_FALSE(window.exportTo(dir.file(u"out.csv"_s), StatsWindow::ExportFormat::csv));
    EXPECT_FALSE(dir.exists(u"out.csv"_s));

    // Export goes through the same rows as the queries.
    QFile::remove(dir.file(u"stats.sqlite"_s));
    StatsDB(dir.file(u"stats.sqlite"_s))
        .insert({QUuid(), u"2024-03-04"_s, u"A, B"_s, WorkKind::deep, 540, 60});
    ASSERT_TRUE(window.exportTo(dir.file(u"out.json"_s), StatsWindow::ExportFormat::json));
    EXPECT_EQ(dir.read(u"out.json"_s), toJson(readRows(statsDatabasePath(dir.path()))));
    EXPECT_EQ(child<QLabel>(&window, "exportStatus")->text(), u"Exported 1 block to out.json."_s);
}
