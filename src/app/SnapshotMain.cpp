// quillmere-snapshot [--scheme light|dark] DATA_DIR OUT.png [HH:MM] [BLOCK]
// quillmere-snapshot [--scheme light|dark] --stats DATA_DIR OUT.png [YYYY-MM-DD]
//
// Renders the panel offscreen as it looks for a data folder at a given local time today, with
// BLOCK (a block's title or id) open in the editor if given. The folder is copied first, so
// the stamping and confirming that opening a store does never touch the original.
//
// With --stats it renders the statistics window for the folder as of the given day (today
// unless given); that only reads the folder, so nothing is copied.
//
// --scheme renders in the program's own light or dark palette instead of the platform's.

#include "app/ScheduleView.h"
#include "model/AppClock.h"
#include "model/TimeMath.h"
#include "stats/StatsWindow.h"
#include "store/BlockStore.h"
#include "ui/ColorScheme.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QLocale>
#include <QTemporaryDir>
#include <QTextStream>
#include <QTime>

#include <cstdio>

namespace {

class FixedWallClock final : public quillmere::WallClock {
public:
    explicit FixedWallClock(QDateTime at) : m_at(std::move(at)) {}
    QDateTime now() const override { return m_at; }

private:
    QDateTime m_at;
};

int usage() {
    std::fputs("usage: quillmere-snapshot [--scheme light|dark] DATA_DIR OUT.png [HH:MM] [BLOCK]\n"
               "       quillmere-snapshot [--scheme light|dark] --stats DATA_DIR OUT.png "
               "[YYYY-MM-DD]\n",
               stderr);
    return 2;
}

bool copyFolder(const QString& from, const QString& to) {
    const QDir source(from);
    if (!source.exists())
        return false;
    for (const QString& name : source.entryList(QDir::Files)) {
        if (!QFile::copy(source.filePath(name), to + u'/' + name))
            return false;
    }
    return true;
}

void settle() {
    for (int i = 0; i < 10; ++i)
        QCoreApplication::processEvents();
}

int snapshotStats(const QStringList& args) {
    if (args.size() < 4 || args.size() > 5)
        return usage();
    QDate today = QDate::currentDate();
    if (args.size() == 5) {
        today = QDate::fromString(args[4], Qt::ISODate);
        if (!today.isValid())
            return usage();
    }
    const QString folder = args[2];
    if (!QDir(folder).exists()) {
        std::fprintf(stderr, "quillmere-snapshot: cannot read %s\n", qPrintable(folder));
        return 1;
    }
    quillmere::StatsWindow window(folder);
    window.setContent(
        quillmere::loadStatsContent(folder, today,
                                    quillmere::StatsQueries::readPlannedMinutes(
                                        QDir(folder).filePath(QStringLiteral("blocks.json"))),
                                    QLocale().firstDayOfWeek()));
    window.show();
    settle();
    if (!window.grab().save(args[3])) {
        std::fprintf(stderr, "quillmere-snapshot: cannot write %s\n", qPrintable(args[3]));
        return 1;
    }
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    // Twice the points in pixels, so the picture stays sharp on a high-density screen.
    if (!qEnvironmentVariableIsSet("QT_SCALE_FACTOR"))
        qputenv("QT_SCALE_FACTOR", "2");
    QApplication app(argc, argv);
    QStringList args = QCoreApplication::arguments();
    if (args.size() > 1 && args[1] == QLatin1String("--scheme")) {
        if (args.size() < 3)
            return usage();
        if (args[2] == QLatin1String("light"))
            QGuiApplication::setPalette(
                quillmere::ui::schemePalette(quillmere::ui::ColorScheme::light));
        else if (args[2] == QLatin1String("dark"))
            QGuiApplication::setPalette(
                quillmere::ui::schemePalette(quillmere::ui::ColorScheme::dark));
        else
            return usage();
        args.remove(1, 2);
    }
    if (args.size() > 1 && args[1] == QLatin1String("--stats"))
        return snapshotStats(args);
    if (args.size() < 3 || args.size() > 5)
        return usage();

    QTime time = QTime::currentTime();
    if (args.size() >= 4) {
        time = QTime::fromString(args[3], QStringLiteral("H:mm"));
        if (!time.isValid())
            return usage();
    }

    QTemporaryDir copy;
    if (!copy.isValid() || !copyFolder(args[1], copy.path())) {
        std::fprintf(stderr, "quillmere-snapshot: cannot read %s\n", qPrintable(args[1]));
        return 1;
    }

    FixedWallClock wallClock(QDateTime(QDate::currentDate(), time));
    quillmere::AppClock clock(wallClock);
    quillmere::NoFocusAids aids;
    quillmere::BlockStore store(clock, aids, copy.path());
    settle();

    quillmere::ScheduleView view(store, clock);
    view.show();
    settle();
    if (args.size() == 5) {
        for (const quillmere::WorkBlock& b : store.todayBlocks()) {
            if (b.title == args[4] || b.id == QUuid::fromString(args[4])) {
                view.setSelectedID(b.id);
                break;
            }
        }
    }
    settle();

    if (!view.grab().save(args[2])) {
        std::fprintf(stderr, "quillmere-snapshot: cannot write %s\n", qPrintable(args[2]));
        return 1;
    }
    return 0;
}
