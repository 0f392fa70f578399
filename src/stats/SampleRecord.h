#pragma once

#include <QDate>
#include <QString>

namespace quillmere {

// Fills a data folder with a made-up but plausible record: `days` days of confirmed blocks
// ending on `today` (about eight a day, fewer at weekends, now and then a day off) in
// stats.sqlite, and the last two weeks' plans in blocks.json. The same arguments always give
// the same record. Returns the number of rows written, or -1 when the folder cannot be written.
int writeSampleRecord(const QString& folder, const QDate& today, int days);

} // namespace quillmere
