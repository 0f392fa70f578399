#pragma once

#include <QByteArray>
#include <QString>

namespace quillmere {

// Whether the program comes back at login. That is an XDG autostart entry named by the
// application id; beside it, a marker in the data folder says that the choice has been made,
// after which only the user's toggle writes or removes the entry. The marker lives apart from
// settings.json on purpose: a damaged settings file decodes as defaults, and that must never
// bring back an entry the user turned off.
class StartAtLogin final {
public:
    // This user's autostart folder ($XDG_CONFIG_HOME/autostart) and the program that is running.
    explicit StartAtLogin(const QString& dataFolder);
    StartAtLogin(QString autostartFolder, QString dataFolder, QString program);

    QString entryPath() const;
    QString markerPath() const;

    // An entry of our name that the session will start: there, and neither hidden nor disabled.
    // A hand-written entry counts as much as ours.
    bool isOn() const;

    // The user's toggle, which alone replaces or removes an entry it did not write. Returns
    // what went wrong, or an empty text when the entry on disk is as asked.
    QString setOn(bool on) const;

    // Blocks are recorded only while the program runs, so a user who has never chosen gets the
    // entry at the first start. An entry already there, whoever wrote it, is left as it is.
    void applyFirstStart() const;

    // The entry for `program`, and the program as one argument of its Exec line.
    static QByteArray entryText(const QString& program);
    static QString execArgument(const QString& program);

private:
    QString markChosen() const;
    QString writeEntry() const;

    QString m_autostartFolder;
    QString m_dataFolder;
    QString m_program;
};

} // namespace quillmere
