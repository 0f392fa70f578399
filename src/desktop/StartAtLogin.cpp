#include "desktop/StartAtLogin.h"

#include "desktop/ApplicationId.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStandardPaths>

#include <algorithm>

namespace quillmere {

namespace {

const QString markerName = QStringLiteral("start-at-login-chosen");

QString autostartFolderOfThisUser() {
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
           QStringLiteral("/autostart");
}

QString writeFile(const QString& path, const QByteArray& bytes) {
    QSaveFile file(path);
    file.setDirectWriteFallback(false);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size()) {
        const QString reason = file.errorString();
        file.cancelWriting();
        return QStringLiteral("Could not write %1: %2").arg(path, reason);
    }
    if (!file.commit())
        return QStringLiteral("Could not write %1: %2").arg(path, file.errorString());
    return {};
}

// The session skips an entry that says Hidden=true, and GNOME one that disables itself.
bool disables(const QString& key, const QString& value) {
    return (key == QLatin1StringView("Hidden") && value == QLatin1StringView("true")) ||
           (key == QLatin1StringView("X-GNOME-Autostart-enabled") &&
            value == QLatin1StringView("false"));
}

} // namespace

StartAtLogin::StartAtLogin(const QString& dataFolder)
    : StartAtLogin(autostartFolderOfThisUser(), dataFolder,
                   QCoreApplication::applicationFilePath()) {}

StartAtLogin::StartAtLogin(QString autostartFolder, QString dataFolder, QString program)
    : m_autostartFolder(std::move(autostartFolder)), m_dataFolder(std::move(dataFolder)),
      m_program(std::move(program)) {}

QString StartAtLogin::entryPath() const {
    return QDir(m_autostartFolder).filePath(applicationId + QStringLiteral(".desktop"));
}

QString StartAtLogin::markerPath() const {
    return QDir(m_dataFolder).filePath(markerName);
}

bool StartAtLogin::isOn() const {
    QFile file(entryPath());
    if (!file.exists())
        return false;
    // An entry we may not read is still there for the session to try.
    if (!file.open(QIODevice::ReadOnly))
        return true;
    bool inMainGroup = false;
    while (!file.atEnd()) {
        const QString line = QString::fromUtf8(file.readLine()).trimmed();
        if (line.startsWith(u'[')) {
            inMainGroup = line == QLatin1StringView("[Desktop Entry]");
            continue;
        }
        const qsizetype eq = line.indexOf(u'=');
        if (inMainGroup && eq > 0 && disables(line.left(eq).trimmed(), line.mid(eq + 1).trimmed()))
            return false;
    }
    return true;
}

QString StartAtLogin::setOn(bool on) const {
    // The choice is on record before the entry changes, so that no later start can undo it.
    if (QString problem = markChosen(); !problem.isEmpty())
        return problem;
    if (on)
        return writeEntry();
    QFile entry(entryPath());
    if (entry.exists() && !entry.remove())
        return QStringLiteral("Could not remove %1: %2").arg(entryPath(), entry.errorString());
    return {};
}

void StartAtLogin::applyFirstStart() const {
    if (QFileInfo::exists(markerPath()))
        return;
    // Without an entry there is nothing to remember yet: the next start tries again.
    if (!QFileInfo::exists(entryPath()) && !writeEntry().isEmpty())
        return;
    markChosen();
}

QString StartAtLogin::markChosen() const {
    if (QFileInfo::exists(markerPath()))
        return {};
    return writeFile(markerPath(),
                     QByteArrayLiteral("Starting at login has been chosen once; from now on only "
                                       "the menu's \"Start at Login\" changes the entry.\n"));
}

QString StartAtLogin::writeEntry() const {
    if (!QDir().mkpath(m_autostartFolder))
        return QStringLiteral("Could not make the folder %1").arg(m_autostartFolder);
    return writeFile(entryPath(), entryText(m_program));
}

QByteArray StartAtLogin::entryText(const QString& program) {
    const QString text = QStringLiteral("[Desktop Entry]\n"
                                        "Type=Application\n"
                                        "Name=Quillmere\n"
                                        "Comment=Time-blocking day planner in the tray\n"
                                        "Exec=%1\n"
                                        "Icon=%2\n"
                                        "Terminal=false\n"
                                        "StartupNotify=false\n"
                                        "X-GNOME-Autostart-enabled=true\n")
                             .arg(execArgument(program), applicationId);
    return text.toUtf8();
}

QString StartAtLogin::execArgument(const QString& program) {
    // Exec is a command line of its own: '%' starts a field code, and a path with any of the
    // reserved characters must be quoted, with '"', '`', '$' and '\' escaped inside the quotes.
    static const QString reserved = QStringLiteral(" \t\n\"'\\><~|&;$*?#()`");
    QString arg = program;
    arg.replace(u'%', QStringLiteral("%%"));
    if (std::any_of(arg.cbegin(), arg.cend(), [](QChar c) { return reserved.contains(c); })) {
        QString quoted = QStringLiteral("\"");
        for (QChar c : std::as_const(arg)) {
            if (c == u'"' || c == u'`' || c == u'$' || c == u'\\')
                quoted += u'\\';
            quoted += c;
        }
        arg = quoted + u'"';
    }
    // Then the value is a string of the entry file, whose own escapes apply on top.
    arg.replace(u'\\', QStringLiteral("\\\\"));
    arg.replace(u'\n', QStringLiteral("\\n"));
    arg.replace(u'\t', QStringLiteral("\\t"));
    arg.replace(u'\r', QStringLiteral("\\r"));
    return arg;
}

} // namespace quillmere
