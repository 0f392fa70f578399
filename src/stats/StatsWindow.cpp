#include "stats/StatsWindow.h"

#include "model/TimeMath.h"
#include "stats/DaysChartView.h"
#include "stats/TitlesView.h"
#include "stats/YearHeatmapView.h"
#include "store/AtomicFile.h"
#include "ui/Caption.h"
#include "ui/KindColors.h"
#include "ui/Palette.h"
#include "ui/PaletteFollower.h"
#include "ui/Typography.h"

#include <QButtonGroup>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QMenu>
#include <QToolButton>
#include <QVBoxLayout>

namespace quillmere {

namespace {

QLabel* heading(const QString& text, QWidget* parent) {
    auto* label = new QLabel(text, parent);
    label->setFont(ui::font(ui::TextStyle::headline));
    return label;
}

QLabel* caption(const QString& text, QWidget* parent) {
    return ui::captionLabel(text, parent);
}

// A caption whose text holds colours worked out from the palette: written again whenever the
// palette changes.
QLabel* legend(QString (*text)(const QPalette&), QWidget* parent) {
    QLabel* label = caption(QString(), parent);
    ui::followPalette(label, [label, text] { label->setText(text(label->palette())); });
    return label;
}

// Colour swatches for a caption's legend, laid over the window's background as the charts
// lay them, since rich text has no transparency.
QString swatch(const QColor& color, const QPalette& palette) {
    const QColor back = palette.color(QPalette::Window);
    const qreal a = color.alphaF();
    const QColor solid =
        QColor::fromRgbF(static_cast<float>(color.redF() * a + back.redF() * (1 - a)),
                         static_cast<float>(color.greenF() * a + back.greenF() * (1 - a)),
                         static_cast<float>(color.blueF() * a + back.blueF() * (1 - a)));
    return QStringLiteral("<span style=\"color:%1\">\u25A0</span>").arg(solid.name());
}

QString daysLegend(const QPalette& palette) {
    return swatch(ui::kindColor(WorkKind::deep), palette) + QStringLiteral(" Deep Work &nbsp; ") +
           swatch(ui::kindColor(WorkKind::shallow), palette) +
           QStringLiteral(" Shallow Work &nbsp; ") +
           swatch(ui::kindColor(WorkKind::deep, DaysChartView::plannedOpacity), palette) +
           swatch(ui::kindColor(WorkKind::shallow, DaysChartView::plannedOpacity), palette) +
           QStringLiteral(" planned, beside what was done");
}

QString heatLegend(const QPalette& palette) {
    QString legend = QStringLiteral("confirmed deep work per day &nbsp; less ");
    legend += swatch(ui::secondaryColor(palette, YearHeatmapView::emptyOpacity), palette);
    for (int level = 1; level <= 4; ++level)
        legend += swatch(ui::kindColor(WorkKind::deep, StatsGeometry::heatOpacity(level)), palette);
    return legend + QStringLiteral(" more");
}

QString dayCount(int days) {
    return days == 1 ? QStringLiteral("1 day") : QStringLiteral("%1 days").arg(days);
}

const QString figureNames[] = {QStringLiteral("week"), QStringLiteral("month"),
                               QStringLiteral("allTime")};

} // namespace

StatsWindow::StatsWindow(QString folder, QWidget* parent)
    : QWidget(parent, Qt::Window), m_folder(std::move(folder)) {
    setObjectName(QStringLiteral("statsWindow"));
    setWindowTitle(QStringLiteral("Quillmere Statistics"));
    resize(800, 620);

    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(16, 12, 16, 16);
    m_problem = new QLabel(this);
    m_problem->setObjectName(QStringLiteral("problem"));
    m_problem->hide();
    column->addWidget(m_problem);
    column->addWidget(buildHeader());
    m_days = new DaysChartView(this);
    column->addWidget(m_days, 1);

    column->addSpacing(8);
    auto* yearRow = new QHBoxLayout;
    yearRow->addWidget(heading(QStringLiteral("Year"), this));
    yearRow->addWidget(legend(heatLegend, this));
    yearRow->addStretch(1);
    column->addLayout(yearRow);
    m_year = new YearHeatmapView(this);
    column->addWidget(m_year);

    column->addSpacing(8);
    auto* bottom = new QHBoxLayout;
    bottom->addWidget(buildFigures(), 1);
    bottom->addSpacing(16);
    auto* titles = new QVBoxLayout;
    auto* titlesHead = new QHBoxLayout;
    titlesHead->addWidget(heading(QStringLiteral("Titles"), this));
    titlesHead->addWidget(caption(QStringLiteral("deep work, last 30 days"), this));
    titlesHead->addStretch(1);
    titles->addLayout(titlesHead);
    m_titles = new TitlesView(this);
    titles->addWidget(m_titles);
    titles->addStretch(1);
    bottom->addLayout(titles, 1);
    column->addLayout(bottom);

    m_exportStatus = caption(QString(), this);
    m_exportStatus->setObjectName(QStringLiteral("exportStatus"));
    column->addWidget(m_exportStatus);
}

QWidget* StatsWindow::buildHeader() {
    auto* header = new QWidget(this);
    auto* row = new QHBoxLayout(header);
    row->setContentsMargins(0, 0, 0, 0);
    row->addWidget(heading(QStringLiteral("Days"), header));
    row->addWidget(legend(daysLegend, header));
    row->addStretch(1);

    m_range = new QButtonGroup(header);
    for (const int weeks : rangeWeeks) {
        auto* button = new QToolButton(header);
        button->setText(QStringLiteral("%1 Weeks").arg(weeks));
        button->setObjectName(QStringLiteral("weeks%1").arg(weeks));
        button->setCheckable(true);
        button->setChecked(weeks == m_weeks);
        button->setAutoRaise(true);
        m_range->addButton(button, weeks);
        row->addWidget(button);
    }
    connect(m_range, &QButtonGroup::idClicked, this, [this](int weeks) { showWeeks(weeks); });

    row->addSpacing(12);
    auto* exportButton = new QToolButton(header);
    exportButton->setObjectName(QStringLiteral("export"));
    exportButton->setText(QStringLiteral("Export"));
    exportButton->setPopupMode(QToolButton::InstantPopup);
    auto* menu = new QMenu(exportButton);
    menu->addAction(QStringLiteral("Export as CSV…"), this,
                    [this] { chooseExport(ExportFormat::csv); });
    menu->addAction(QStringLiteral("Export as JSON…"), this,
                    [this] { chooseExport(ExportFormat::json); });
    exportButton->setMenu(menu);
    row->addWidget(exportButton);
    return header;
}

QLabel* StatsWindow::figure(const QString& name) {
    auto* label = new QLabel(this);
    label->setObjectName(name);
    label->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    return label;
}

QWidget* StatsWindow::buildFigures() {
    auto* box = new QWidget(this);
    auto* grid = new QGridLayout(box);
    grid->setContentsMargins(0, 0, 0, 0);
    grid->addWidget(heading(QStringLiteral("Figures"), box), 0, 0);
    grid->addWidget(caption(QStringLiteral("Deep Work"), box), 0, 1, Qt::AlignRight);
    grid->addWidget(caption(QStringLiteral("Shallow Work"), box), 0, 2, Qt::AlignRight);
    const QString rows[] = {QStringLiteral("This Week"), QStringLiteral("This Month"),
                            QStringLiteral("All Time")};
    for (int r = 0; r < 3; ++r) {
        grid->addWidget(new QLabel(rows[r], box), r + 1, 0);
        grid->addWidget(figure(figureNames[r] + QStringLiteral(".deep")), r + 1, 1);
        grid->addWidget(figure(figureNames[r] + QStringLiteral(".shallow")), r + 1, 2);
    }
    const QString more[] = {QStringLiteral("Current Streak"), QStringLiteral("Longest Streak"),
                            QStringLiteral("Average Deep Work per Day Worked")};
    const QString moreNames[] = {QStringLiteral("currentStreak"), QStringLiteral("longestStreak"),
                                 QStringLiteral("averageDeep")};
    for (int r = 0; r < 3; ++r) {
        grid->addWidget(new QLabel(more[r], box), r + 4, 0, 1, 2);
        grid->addWidget(figure(moreNames[r]), r + 4, 2);
    }
    grid->setRowStretch(7, 1);
    return box;
}

void StatsWindow::setContent(const StatsContent& content) {
    m_content = content;
    refresh();
}

void StatsWindow::showWeeks(int weeks) {
    m_weeks = weeks;
    if (QAbstractButton* button = m_range->button(weeks))
        button->setChecked(true);
    m_days->setContent(m_content, 7 * m_weeks);
}

void StatsWindow::refresh() {
    using namespace StatsQueries;
    const ReadProblem problem = m_content.record.problem;
    m_problem->setText(explanation(problem));
    m_problem->setVisible(problem != ReadProblem::none);

    m_days->setContent(m_content, 7 * m_weeks);
    m_year->setContent(m_content);
    m_titles->setTitles(m_content.record.topTitles);

    const DayMinutes& days = m_content.record.confirmed;
    const Totals sums = totals(days, m_content.today, m_content.firstDayOfWeek);
    const KindMinutes* periods[] = {&sums.week, &sums.month, &sums.allTime};
    for (int r = 0; r < 3; ++r) {
        for (const WorkKind kind : allWorkKinds) {
            const QString name = figureNames[r] + u'.' + rawValue(kind);
            findChild<QLabel*>(name)->setText(TimeMath::durationString(periods[r]->of(kind)));
        }
    }
    const Streaks streaks = deepStreaks(days, m_content.today);
    findChild<QLabel*>(QStringLiteral("currentStreak"))->setText(dayCount(streaks.current));
    findChild<QLabel*>(QStringLiteral("longestStreak"))->setText(dayCount(streaks.longest));
    findChild<QLabel*>(QStringLiteral("averageDeep"))
        ->setText(TimeMath::durationString(averageDeepPerDayWorked(days)));
}

bool StatsWindow::exportTo(const QString& path, ExportFormat format) {
    StatsQueries::ReadProblem problem = StatsQueries::ReadProblem::none;
    const auto rows = StatsQueries::readRows(statsDatabasePath(m_folder), &problem);
    if (problem != StatsQueries::ReadProblem::none &&
        problem != StatsQueries::ReadProblem::missing) {
        m_exportStatus->setText(StatsQueries::explanation(problem));
        return false;
    }
    const QByteArray bytes =
        format == ExportFormat::csv ? StatsQueries::toCsv(rows) : StatsQueries::toJson(rows);
    const QString name = QFileInfo(path).fileName();
    if (!writeFileAtomically(path, bytes)) {
        m_exportStatus->setText(QStringLiteral("Could not write %1.").arg(name));
        return false;
    }
    m_exportStatus->setText(
        rows.size() == 1
            ? QStringLiteral("Exported 1 block to %1.").arg(name)
            : QStringLiteral("Exported %1 blocks to %2.").arg(QString::number(rows.size()), name));
    return true;
}

void StatsWindow::chooseExport(ExportFormat format) {
    const bool csv = format == ExportFormat::csv;
    const QString suggested =
        QDir::home().filePath(csv ? QStringLiteral("Quillmere Statistics.csv")
                                  : QStringLiteral("Quillmere Statistics.json"));
    const QString path = QFileDialog::getSaveFileName(
        this, QStringLiteral("Export Statistics"), suggested,
        csv ? QStringLiteral("CSV files (*.csv)") : QStringLiteral("JSON files (*.json)"));
    if (!path.isEmpty())
        exportTo(path, format);
}

} // namespace quillmere
