#pragma once

#include "model/WorkBlock.h"

#include <QSet>
#include <QString>
#include <QUuid>

struct sqlite3;

namespace quillmere {

// The statistics database: one row per block whose end the running program saw. It is best
// effort; when the file cannot be opened every call quietly does nothing.
class StatsDB final {
public:
    explicit StatsDB(const QString& path);
    ~StatsDB();
    StatsDB(const StatsDB&) = delete;
    StatsDB& operator=(const StatsDB&) = delete;

    bool isOpen() const { return m_db != nullptr; }
    // Adds the row; a row with the same id already there is kept as it is.
    void insert(const ConfirmedBlock& row);
    QSet<QUuid> confirmedIDs(const QString& day) const;

private:
    sqlite3* m_db = nullptr;
};

} // namespace quillmere
