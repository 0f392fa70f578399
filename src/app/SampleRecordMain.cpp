// quillmere-sample-record DATA_DIR [YYYY-MM-DD] [DAYS]
//
// Writes a made-up record of DAYS days (365 unless given) ending on the given day (today
// unless given) into DATA_DIR: stats.sqlite and blocks.json are replaced. For pictures and
// for trying the statistics window; never point it at a real data folder.

#include "stats/SampleRecord.h"

#include <QCoreApplication>
#include <QDate>
#include <QStringList>

#include <cstdio>

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const QStringList args = QCoreApplication::arguments();
    QDate today = QDate::currentDate();
    int days = 365;
    bool ok = args.size() >= 2 && args.size() <= 4;
    if (ok && args.size() >= 3) {
        today = QDate::fromString(args[2], Qt::ISODate);
        ok = today.isValid();
    }
    if (ok && args.size() == 4) {
        days = args[3].toInt(&ok);
        ok = ok && days > 0;
    }
    if (!ok) {
        std::fputs("usage: quillmere-sample-record DATA_DIR [YYYY-MM-DD] [DAYS]\n", stderr);
        return 2;
    }
    const int rows = quillmere::writeSampleRecord(args[1], today, days);
    if (rows < 0) {
        std::fprintf(stderr, "quillmere-sample-record: cannot write %s\n", qPrintable(args[1]));
        return 1;
    }
    std::printf("%d confirmed blocks written\n", rows);
    return 0;
}
