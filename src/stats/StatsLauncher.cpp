#include "stats/StatsLauncher.h"

#include "model/AppClock.h"
#include "model/TimeMath.h"
#include "stats/StatsWindow.h"
#include "store/BlockStore.h"

#include <QLocale>

namespace quillmere {

StatsLauncher::StatsLauncher(BlockStore& store, AppClock& clock, QObject* parent)
    : QObject(parent), m_store(store), m_clock(clock) {}

StatsLauncher::~StatsLauncher() {
    delete m_window.data();
}

void StatsLauncher::open() {
    if (!m_window) {
        m_window = new StatsWindow(m_store.folder());
        m_window->setAttribute(Qt::WA_DeleteOnClose);
        connect(&m_store, &BlockStore::blocksConfirmed, m_window, [this] { reload(); });
        connect(&m_store, &BlockStore::blocksChanged, m_window, [this] { reload(); });
        connect(&m_clock, &AppClock::todayChanged, m_window, [this] { reload(); });
        reload();
    }
    m_window->setWindowState(m_window->windowState() & ~Qt::WindowMinimized);
    m_window->show();
    m_window->raise();
    m_window->activateWindow();
}

void StatsLauncher::reload() {
    const QDate today = TimeMath::dateFromDayKey(m_clock.today()).value_or(QDate::currentDate());
    m_window->setContent(loadStatsContent(m_store.folder(), today,
                                          StatsQueries::plannedMinutes(m_store.blocks()),
                                          QLocale().firstDayOfWeek()));
}

} // namespace quillmere
