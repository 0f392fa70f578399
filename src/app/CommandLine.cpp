#include "app/CommandLine.h"

#include <QRegularExpression>

namespace quillmere {

namespace {

UsageError fault(const QString& message) {
    return {message + QStringLiteral(" (see quillmere --help)")};
}

} // namespace

std::optional<Minutes> parseClockTime(const QString& text) {
    static const QRegularExpression form(QStringLiteral("^(\\d{1,2}):(\\d{2})$"));
    const QRegularExpressionMatch m = form.match(text);
    if (!m.hasMatch())
        return std::nullopt;
    const int hours = m.captured(1).toInt();
    const int minutes = m.captured(2).toInt();
    if (hours > 23 || minutes > 59)
        return std::nullopt;
    return hours * 60 + minutes;
}

std::optional<Minutes> parseDuration(const QString& text) {
    static const QRegularExpression form(QStringLiteral("^(?:(\\d{1,2})h)?(?:(\\d{1,4})m)?$"));
    const QRegularExpressionMatch m = form.match(text);
    if (text.isEmpty() || !m.hasMatch())
        return std::nullopt;
    const Minutes total = m.captured(1).toInt() * 60 + m.captured(2).toInt();
    if (total <= 0 || total > minutesPerDay)
        return std::nullopt;
    return total;
}

std::variant<Command, UsageError> parseCommandLine(const QStringList& args) {
    Command c;
    if (args.isEmpty())
        return c;
    const QString verb = args.front();
    if (verb == QStringLiteral("--help") || verb == QStringLiteral("-h") ||
        verb == QStringLiteral("help"))
        c.verb = Command::Verb::help;
    else if (verb == QStringLiteral("--version"))
        c.verb = Command::Verb::version;
    else if (verb == QStringLiteral("status"))
        c.verb = Command::Verb::status;
    else if (verb == QStringLiteral("open"))
        c.verb = Command::Verb::open;
    else if (verb == QStringLiteral("add"))
        c.verb = Command::Verb::add;
    else if (verb == QStringLiteral("plan"))
        c.verb = Command::Verb::plan;
    else if (verb == QStringLiteral("quit"))
        c.verb = Command::Verb::quit;
    else
        return fault(QStringLiteral("Unknown command \"%1\"").arg(verb));

    const bool takesTitle = c.verb == Command::Verb::add || c.verb == Command::Verb::plan;
    bool haveTitle = false;
    for (qsizetype i = 1; i < args.size(); ++i) {
        const QString& a = args.at(i);
        const auto value = [&]() -> std::optional<QString> {
            if (i + 1 >= args.size())
                return std::nullopt;
            return args.at(++i);
        };
        if (c.verb == Command::Verb::status && a == QStringLiteral("--json")) {
            c.json = true;
        } else if (c.verb == Command::Verb::status && a == QStringLiteral("--follow")) {
            c.follow = true;
        } else if (takesTitle && a == QStringLiteral("--deep")) {
            c.kind = WorkKind::deep;
        } else if (takesTitle && a == QStringLiteral("--shallow")) {
            c.kind = WorkKind::shallow;
        } else if (c.verb == Command::Verb::add && a == QStringLiteral("--at")) {
            const std::optional<QString> text = value();
            c.at = text ? parseClockTime(*text) : std::nullopt;
            if (!c.at)
                return fault(QStringLiteral("--at takes a time such as 9:30 or 14:00"));
        } else if (c.verb == Command::Verb::add && a == QStringLiteral("--for")) {
            const std::optional<QString> text = value();
            c.duration = text ? parseDuration(*text) : std::nullopt;
            if (!c.duration)
                return fault(QStringLiteral("--for takes a duration such as 45m, 1h or 1h30m"));
        } else if (a.startsWith(QLatin1Char('-')) && a != QStringLiteral("-")) {
            return fault(QStringLiteral("Unknown option \"%1\" for %2").arg(a, verb));
        } else if (takesTitle && !haveTitle) {
            c.title = a.trimmed();
            haveTitle = true;
        } else {
            return fault(QStringLiteral("Unexpected argument \"%1\"").arg(a));
        }
    }
    if (takesTitle && c.title.isEmpty())
        return fault(QStringLiteral("%1 needs a title").arg(verb));
    if (c.at && c.duration && *c.at + *c.duration > minutesPerDay)
        return fault(QStringLiteral("The block would run past midnight"));
    return c;
}

QString usageText() {
    return QStringLiteral(
        "Usage: quillmere [COMMAND]\n"
        "Without a command, starts the planner in the tray (or opens its panel when it runs).\n"
        "\n"
        "Commands:\n"
        "  status [--json] [--follow]  what is under way; --json prints a line for status\n"
        "                              bars, --follow prints a new line at every change\n"
        "  open                        open the panel\n"
        "  add TITLE [--deep|--shallow] [--at HH:MM] [--for DURATION]\n"
        "                              add a block today (deep unless --shallow), by default\n"
        "                              at the next free quarter hour for up to an hour\n"
        "  plan TITLE [--deep|--shallow]\n"
        "                              put an item in the backlog\n"
        "  quit                        end the running planner\n"
        "  --help, --version\n"
        "\n"
        "Durations are written 45m, 1h or 1h30m; times 9:30 or 14:00, on quarter hours.\n"
        "Exit status: 0 done, 1 the planner is not running, 2 bad input (nothing changed).\n");
}

} // namespace quillmere
