#include "stats/StatsWindow.h"
#include "stats/DaysChartView.h"
#include "stats/YearHeatmapView.h"
#include "store/StatsDB.h"
#include "ui/KindColors.h"

#include "support/Printers.h"
#include "support/TempDataDir.h"

#include <QAbstractButton>
#include <QHelpEvent>
#include <QImage>
#include <QLabel>
#include <QTest>
#include <QToolTip>

#include <gtest/gtest.h>

using namespace quillmere;
using namespace quillmere::StatsQueries;
using namespace quillmere::test;
using namespace Qt::StringLiterals;

namespace {

QDate date(const char* text) {
    return QDate::fromString(QString::fromLatin1(text), Qt::ISODate);
}

// `expected` with its alpha laid over `background`, as the painter blends it, give or take the
// rounding of antialiasing and blending.
::testing::AssertionResult near(QRgb actual, const QColor& expected, QRgb background = 0) {
    const QColor a = QColor::fromRgb(actual), b = QColor::fromRgb(background);
    const auto blend = [&](float c, float under) {
        return qRound(255 * (c * expected.alphaF() + under * (1 - expected.alphaF())));
    };
    const int d = std::abs(a.red() - blend(expected.redF(), b.redF())) +
                  std::abs(a.green() - blend(expected.greenF(), b.greenF())) +
                  std::abs(a.blue() - blend(expected.blueF(), b.blueF()));
    if (d <= 12)
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure()
           << a.name().toStdString() << " is not " << expected.name(QColor::HexArgb).toStdString();
}

// A window on a temporary folder showing hand-made content, at a fixed size.
struct WindowFixture : ::testing::Test {
    TempDataDir dir;
    StatsWindow window{dir.path()};
    StatsContent content;

    void show(QDate today, Qt::DayOfWeek first = Qt::Monday) {
        content.today = today;
        content.firstDayOfWeek = first;
        window.setContent(content);
        window.resize(900, 700);
        window.show();
        QCoreApplication::processEvents();
    }
    template <typename View> View* view() const { return window.findChild<View*>(); }
    QLabel* label(const char* name) const {
        return window.findChild<QLabel*>(QString::fromLatin1(name));
    }
    static QPoint centre(const QRectF& r) { return r.center().toPoint(); }
};

} // namespace

TEST_F(WindowFixture, DaysChartStacksDoneByKindWithThePlanBesideIt) {
    content.record.confirmed = {{date("2024-03-04"), {120, 60}},
                                {date("2024-03-03"), {60, 0}},
                                {date("2024-02-10"), {30, 0}}};
    content.planned = {{date("2024-03-04"), {180, 60}}};
    show(date("2024-03-04"));
    auto* chart = view<DaysChartView>();
    const QImage image = chart->grab().toImage();
    const StatsGeometry::DaysChart g = chart->geometry();
    ASSERT_EQ(g.days, 14);
    EXPECT_EQ(g.scaleMinutes, 240);
    const QRgb background = image.pixel(centre(g.slot(0)));

    const QRectF done = g.doneColumn(13), planned = g.plannedColumn(13);
    const QColor deep = ui::kindColor(WorkKind::deep), shallow = ui::kindColor(WorkKind::shallow);
    const qreal faint = DaysChartView::plannedOpacity;
    const std::pair<QRectF, QColor> expected[] = {
        {g.segment(done, 0, 120), deep},
        {g.segment(done, 120, 60), shallow},
        {g.segment(done, 180, 50), QColor(background)},
        {g.segment(planned, 0, 180), ui::kindColor(WorkKind::deep, faint)},
        {g.segment(planned, 180, 60), ui::kindColor(WorkKind::shallow, faint)},
        // Yesterday was done but is no longer planned in the kept days: no plan column.
        {g.segment(g.doneColumn(12), 0, 60), deep},
        {g.segment(g.plannedColumn(12), 0, 60), QColor(background)},
    };
    for (const auto& [rect, colour] : expected)
        EXPECT_TRUE(near(image.pixel(centre(rect)), colour, background));

    // Four weeks reach back to 10 February.
    QTest::mouseClick(window.findChild<QAbstractButton*>(u"weeks4"_s), Qt::LeftButton);
    EXPECT_EQ(window.weeksShown(), 4);
    const StatsGeometry::DaysChart wide = chart->geometry();
    ASSERT_EQ(wide.days, 28);
    ASSERT_EQ(chart->dayAt(4), date("2024-02-10"));
    EXPECT_TRUE(
        near(chart->grab().toImage().pixel(centre(wide.segment(wide.doneColumn(4), 0, 30))), deep));
}

TEST_F(WindowFixture, YearHeatmapPutsWeeksInColumnsFromTheLocalesFirstWeekday) {
    content.record.confirmed = {
        {date("2023-04-06"), {240, 0}}, // the oldest day shown, Monday-first
        {date("2024-01-01"), {45, 30}}, // New Year's Day
        {date("2024-03-31"), {300, 0}}, // the spring-forward day
        {date("2024-04-03"), {90, 15}}, // today
    };
    struct Case {
        Qt::DayOfWeek first;
        const char* firstCell;
        int todayRow;
    };
    for (const Case& c : {Case{Qt::Monday, "2023-04-03", 2}, Case{Qt::Sunday, "2023-04-02", 3}}) {
        show(date("2024-04-03"), c.first);
        auto* map = view<YearHeatmapView>();
        const StatsGeometry::Heatmap g = map->geometry();
        EXPECT_EQ(g.first, date(c.firstCell));
        const QRectF today = g.cellRect(date("2024-04-03"));
        EXPECT_DOUBLE_EQ(today.left(), g.origin.x() + 52 * g.pitch);
        EXPECT_DOUBLE_EQ(today.top(), g.origin.y() + c.todayRow * g.pitch);

        const QImage image = map->grab().toImage();
        const QRgb background = image.pixel(centre(g.cellRect(date("2024-04-04")))); // not yet
        const std::pair<const char*, int> levels[] = {
            {"2023-04-06", 4}, {"2024-01-01", 1}, {"2024-03-31", 4}, {"2024-04-03", 2}};
        for (const auto& [day, level] : levels) {
            SCOPED_TRACE(day);
            EXPECT_TRUE(near(image.pixel(centre(g.cellRect(date(day)))),
                             ui::kindColor(WorkKind::deep, StatsGeometry::heatOpacity(level)),
                             background));
        }
        const QRgb empty = image.pixel(centre(g.cellRect(date("2024-01-02"))));
        EXPECT_FALSE(near(empty, QColor(background)));
        EXPECT_FALSE(near(empty, ui::kindColor(WorkKind::deep, 0.3)));

        EXPECT_EQ(map->toolTipAt(centre(today)),
                  QLocale().toString(date("2024-04-03"), QLocale::LongFormat) +
                      u"\nDeep Work: 1 h 30 m\nShallow Work: 15 m"_s);
        QHelpEvent help(QEvent::ToolTip, centre(today), map->mapToGlobal(centre(today)));
        QCoreApplication::sendEvent(map, &help);
        EXPECT_EQ(QToolTip::text(), map->toolTipAt(centre(today)));
        EXPECT_TRUE(map->toolTipAt(centre(g.cellRect(date("2024-04-04")))).isEmpty());
        EXPECT_TRUE(map->toolTipAt(QPoint(2, 2)).isEmpty());
    }
}

TEST_F(WindowFixture, FiguresAndTheOneLineAboutAnUnreadableRecord) {
    content.record.confirmed = {{date("2024-03-02"), {60, 30}},
                                {date("2024-03-04"), {90, 0}},
                                {date("2024-02-28"), {0, 45}}};
    show(date("2024-03-04"));
    const std::pair<const char*, const char*> figures[] = {
        {"week.deep", "1 h 30 m"},  {"week.shallow", "0 m"},      {"month.deep", "2 h 30 m"},
        {"month.shallow", "30 m"},  {"allTime.deep", "2 h 30 m"}, {"allTime.shallow", "1 h 15 m"},
        {"currentStreak", "1 day"}, {"longestStreak", "1 day"},   {"averageDeep", "50 m"}};
    for (const auto& [name, text] : figures)
        EXPECT_EQ(label(name)->text(), QString::fromUtf8(text)) << name;
    EXPECT_FALSE(label("problem")->isVisible());

    // A damaged file: the window says so in one line and shows an empty record.
    const QByteArray garbage(2048, 'x');
    dir.write(u"stats.sqlite"_s, garbage);
    content = loadStatsContent(dir.path(), date("2024-03-04"), {}, Qt::Monday);
    show(date("2024-03-04"));
    EXPECT_TRUE(label("problem")->isVisible());
    EXPECT_EQ(label("problem")->text(), explanation(ReadProblem::damaged));
    EXPECT_EQ(label("allTime.deep")->text(), u"0 m"_s);
    EXPECT_FALSE(window.exportTo(dir.file(u"out.csv"_s), StatsWindow::ExportFormat::csv));
    EXPECT_FALSE(dir.exists(u"out.csv"_s));
    EXPECT_EQ(dir.read(u"stats.sqlite"_s), garbage);

    // Export goes through the same rows as the queries.
    QFile::remove(dir.file(u"stats.sqlite"_s));
    StatsDB(dir.file(u"stats.sqlite"_s))
        .insert({QUuid(), u"2024-03-04"_s, u"A, B"_s, WorkKind::deep, 540, 60});
    ASSERT_TRUE(window.exportTo(dir.file(u"out.json"_s), StatsWindow::ExportFormat::json));
    EXPECT_EQ(dir.read(u"out.json"_s), toJson(readRows(statsDatabasePath(dir.path()))));
    EXPECT_EQ(label("exportStatus")->text(), u"Exported 1 block to out.json."_s);
}
