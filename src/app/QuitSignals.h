#pragma once

#include <QObject>

class QSocketNotifier;

namespace quillmere {

// SIGTERM, SIGINT and SIGHUP end the program through the event loop, as "Quit Quillmere" does,
// so that everything it changed on the desktop is put back before it exits. The handler only
// writes one byte into a pipe; Qt hears of it there, outside the handler.
class QuitSignals final : public QObject {
    Q_OBJECT

public:
    explicit QuitSignals(QObject* parent = nullptr);
    ~QuitSignals() override;

private:
    QSocketNotifier* m_notifier = nullptr;
};

} // namespace quillmere
