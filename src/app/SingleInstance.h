#pragma once

#include <QLockFile>
#include <QObject>
#include <QString>

#include <memory>

class QSocketNotifier;

namespace quillmere {

// One running program per user. The first start holds a lock file in the runtime folder and
// listens on a local socket beside it; a later start finds the lock taken, asks the first to
// open its panel and leaves without having touched any data file.
//
// The socket is a plain Unix one watched by the event loop: it carries one line, and the
// program need not load a network library at every start for it.
class SingleInstance final : public QObject {
    Q_OBJECT

public:
    // `folder` defaults to the user's runtime folder (XDG_RUNTIME_DIR).
    explicit SingleInstance(QString folder = {}, QObject* parent = nullptr);
    ~SingleInstance() override;

    // True when this process is now the one instance (and listening).
    bool tryBecomePrimary();
    // Asks the running instance to open its panel; false when nobody answered in time.
    bool askPrimaryToOpen(int timeoutMs = 3000);

    QString lockPath() const;
    QString socketPath() const;

Q_SIGNALS:
    void openRequested();

private:
    void acceptPending();

    QString m_folder;
    std::unique_ptr<QLockFile> m_lock;
    int m_listener = -1;
    QSocketNotifier* m_listening = nullptr;
};

} // namespace quillmere
