#pragma once

#include "model/Minutes.h"
#include "model/WorkKind.h"

#include <QString>
#include <QStringList>

#include <optional>
#include <variant>

namespace quillmere {

// What the user asked for on the command line; no arguments at all start the tray program.
struct Command {
    enum class Verb { tray, status, open, add, plan, quit, help, version };
    Verb verb = Verb::tray;
    bool json = false;
    bool follow = false;
    QString title;
    WorkKind kind = WorkKind::deep;
    std::optional<Minutes> at;
    std::optional<Minutes> duration;

    bool operator==(const Command&) const = default;
};

// A one-line reason, printed as it is, for input that changes nothing.
struct UsageError {
    QString message;
};

// Parses the arguments after the program's name.
std::variant<Command, UsageError> parseCommandLine(const QStringList& args);

// "9:30", "09:30" or "14:00": minutes after midnight, below 24:00.
std::optional<Minutes> parseClockTime(const QString& text);
// "45m", "1h", "1h30m": whole minutes, more than none, at most a day.
std::optional<Minutes> parseDuration(const QString& text);

// The text of --help.
QString usageText();

} // namespace quillmere
