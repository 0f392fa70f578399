#pragma once

#include "stats/StatsWindow.h"

#include <QObject>
#include <QPointer>

namespace quillmere {

class AppClock;
class BlockStore;

// Opens the one statistics window. Nothing is built or read before the first choice, and a
// closed window is gone again; while it is open it follows every confirmation, every saved
// change of the plan and the change of day.
class StatsLauncher final : public QObject {
    Q_OBJECT

public:
    StatsLauncher(BlockStore& store, AppClock& clock, QObject* parent = nullptr);
    ~StatsLauncher() override;

    void open();
    StatsWindow* window() const { return m_window; }

private:
    void reload();

    BlockStore& m_store;
    AppClock& m_clock;
    QPointer<StatsWindow> m_window;
};

} // namespace quillmere
