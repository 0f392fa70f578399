#include "model/JsonCodec.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonParseError>
#include <QLocale>

#include <charconv>
#include <climits>
#include <cmath>
#include <iterator>
#include <string>

namespace quillmere::json {

namespace {

// Every key of the four forms, shared by the encoders and the decoders.
namespace key {
constexpr QLatin1StringView chimesEnabled("chimesEnabled");
constexpr QLatin1StringView createdAt("createdAt");
constexpr QLatin1StringView day("day");
constexpr QLatin1StringView deepWorkNoise("deepWorkNoise");
constexpr QLatin1StringView durationMinutes("durationMinutes");
constexpr QLatin1StringView id("id");
constexpr QLatin1StringView kind("kind");
constexpr QLatin1StringView lastStampedDay("lastStampedDay");
constexpr QLatin1StringView noiseVolume("noiseVolume");
constexpr QLatin1StringView nudgesEnabled("nudgesEnabled");
constexpr QLatin1StringView pinned("pinned");
constexpr QLatin1StringView remindersEnabled("remindersEnabled");
constexpr QLatin1StringView repeatRuleID("repeatRuleID");
constexpr QLatin1StringView silenceNotifications("silenceNotifications");
constexpr QLatin1StringView startMinutes("startMinutes");
constexpr QLatin1StringView title("title");
constexpr QLatin1StringView weekdays("weekdays");
} // namespace key

// Integers travel as JSON numbers, which are exact only up to 2^53. Anything larger (or
// fractional, or not finite) is not an integer this program ever wrote.
constexpr double largestExactInteger = 9007199254740992.0;

std::optional<Minutes> integerValue(const QJsonValue& value) {
    if (!value.isDouble())
        return std::nullopt;
    const double d = value.toDouble();
    if (!std::isfinite(d) || d != std::trunc(d) || std::fabs(d) > largestExactInteger)
        return std::nullopt;
    return static_cast<Minutes>(d);
}

std::optional<double> numberValue(const QJsonValue& value) {
    if (!value.isDouble() || !std::isfinite(value.toDouble()))
        return std::nullopt;
    return value.toDouble();
}

std::optional<QString> stringValue(const QJsonValue& value) {
    if (!value.isString())
        return std::nullopt;
    return value.toString();
}

std::optional<bool> boolValue(const QJsonValue& value) {
    if (!value.isBool())
        return std::nullopt;
    return value.toBool();
}

std::optional<QUuid> uuidValue(const QJsonValue& value) {
    if (!value.isString())
        return std::nullopt;
    return parseUuid(value.toString());
}

std::optional<WorkKind> kindValue(const QJsonValue& value) {
    if (!value.isString())
        return std::nullopt;
    return workKindFromRaw(value.toString());
}

// An optional key: missing or null is absent (`present` stays false); a present value must
// convert, otherwise the whole record fails.
template <typename T, typename Convert>
bool readOptional(const QJsonObject& object, QLatin1StringView name, Convert convert,
                  std::optional<T>& out) {
    const QJsonValue value = object.value(name);
    if (value.isUndefined() || value.isNull()) {
        out.reset();
        return true;
    }
    std::optional<T> converted = convert(value);
    if (!converted)
        return false;
    out = std::move(converted);
    return true;
}

} // namespace

QString uuidText(const QUuid& id) {
    return id.toString(QUuid::WithoutBraces).toUpper();
}

std::optional<QUuid> parseUuid(const QString& text) {
    if (text.size() != 36)
        return std::nullopt;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        const bool hyphenPlace = i == 8 || i == 13 || i == 18 || i == 23;
        const bool hex =
            (c >= u'0' && c <= u'9') || (c >= u'a' && c <= u'f') || (c >= u'A' && c <= u'F');
        if (hyphenPlace ? c != u'-' : !hex)
            return std::nullopt;
    }
    return QUuid::fromString(text);
}

QJsonObject encode(const WorkBlock& block) {
    QJsonObject o;
    o.insert(key::id, uuidText(block.id));
    o.insert(key::title, block.title);
    o.insert(key::day, block.day);
    o.insert(key::startMinutes, static_cast<double>(block.startMinutes));
    o.insert(key::durationMinutes, static_cast<double>(block.durationMinutes));
    o.insert(key::kind, rawValue(block.kind));
    if (block.repeatRuleID)
        o.insert(key::repeatRuleID, uuidText(*block.repeatRuleID));
    if (block.createdAt)
        o.insert(key::createdAt, *block.createdAt);
    return o;
}

namespace {

// The block file is written straight into a byte string, in the very bytes Qt's indented
// writer gives (a test holds the two equal); building QJsonObjects first costs several times
// as much for the largest file the program writes.

// Appends a string as Qt's writer does, when that is simply its UTF-8 in quotes; false for
// anything the writer escapes (control characters, quotes, backslashes, lone surrogates).
bool appendPlainString(std::string& out, QStringView text) {
    bool ascii = true;
    for (const QChar c : text) {
        const char16_t u = c.unicode();
        if (u < 0x20 || u == u'"' || u == u'\\' || c.isSurrogate())
            return false;
        ascii = ascii && u < 0x80;
    }
    out += '"';
    if (ascii) {
        for (const QChar c : text)
            out += static_cast<char>(c.unicode());
    } else {
        const QByteArray utf8 = text.toUtf8();
        out.append(utf8.constData(), static_cast<std::size_t>(utf8.size()));
    }
    out += '"';
    return true;
}

// An id in the upper-case form `uuidText` gives, in quotes.
void appendUuid(std::string& out, const QUuid& id) {
    static constexpr char hex[] = "0123456789ABCDEF";
    const auto appendHex = [&out](quint64 value, int digits) {
        for (int shift = 4 * (digits - 1); shift >= 0; shift -= 4)
            out += hex[(value >> shift) & 0xF];
    };
    out += '"';
    appendHex(id.data1, 8);
    out += '-';
    appendHex(id.data2, 4);
    out += '-';
    appendHex(id.data3, 4);
    out += '-';
    for (int i = 0; i < 8; ++i) {
        if (i == 2)
            out += '-';
        appendHex(id.data4[i], 2);
    }
    out += '"';
}

// Appends a number as Qt's writer does: integral values within 2^53 as integers, other
// finite ones in their shortest form; false for anything else.
bool appendNumber(std::string& out, double value) {
    if (!std::isfinite(value))
        return false;
    if (value == std::trunc(value)) {
        if (std::fabs(value) > largestExactInteger)
            return false;
        char digits[24];
        const auto end =
            std::to_chars(std::begin(digits), std::end(digits), static_cast<qint64>(value)).ptr;
        out.append(digits, end);
    } else {
        const QByteArray text = QByteArray::number(value, 'g', QLocale::FloatingPointShortest);
        out.append(text.constData(), static_cast<std::size_t>(text.size()));
    }
    return true;
}

void appendMember(std::string& out, QLatin1StringView name, bool first) {
    out += first ? "        \"" : ",\n        \"";
    out.append(name.data(), static_cast<std::size_t>(name.size()));
    out += "\": ";
}

// One block as an indented object of the array, its keys in sorted order.
bool appendBlock(std::string& out, const WorkBlock& block) {
    out += "    {\n";
    bool ok = true;
    bool first = true;
    if (block.createdAt) {
        appendMember(out, key::createdAt, first);
        ok = ok && appendNumber(out, *block.createdAt);
        first = false;
    }
    appendMember(out, key::day, first);
    ok = ok && appendPlainString(out, block.day);
    appendMember(out, key::durationMinutes, false);
    ok = ok && appendNumber(out, static_cast<double>(block.durationMinutes));
    appendMember(out, key::id, false);
    appendUuid(out, block.id);
    appendMember(out, key::kind, false);
    ok = ok && appendPlainString(out, rawValue(block.kind));
    if (block.repeatRuleID) {
        appendMember(out, key::repeatRuleID, false);
        appendUuid(out, *block.repeatRuleID);
    }
    appendMember(out, key::startMinutes, false);
    ok = ok && appendNumber(out, static_cast<double>(block.startMinutes));
    appendMember(out, key::title, false);
    ok = ok && appendPlainString(out, block.title);
    out += "\n    }";
    return ok;
}

} // namespace

template <> QByteArray encodeList<WorkBlock>(const std::vector<WorkBlock>& items) {
    std::string out;
    // About what a block with a short title takes.
    out.reserve(items.size() * 300 + 8);
    out += "[\n";
    bool plain = true;
    for (std::size_t i = 0; i < items.size() && plain; ++i) {
        if (i > 0)
            out += ",\n";
        plain = appendBlock(out, items[i]);
    }
    if (!plain) {
        // A title Qt would escape, or a number out of the ordinary: Qt writes the file.
        QJsonArray array;
        for (const WorkBlock& item : items)
            array.append(encode(item));
        return encodeStateFile(array);
    }
    out += items.empty() ? "]\n" : "\n]\n";
    return QByteArray(out.data(), static_cast<qsizetype>(out.size()));
}

QJsonObject encode(const RepeatRule& rule) {
    QJsonObject o;
    o.insert(key::id, uuidText(rule.id));
    o.insert(key::title, rule.title);
    o.insert(key::kind, rawValue(rule.kind));
    o.insert(key::startMinutes, static_cast<double>(rule.startMinutes));
    o.insert(key::durationMinutes, static_cast<double>(rule.durationMinutes));
    QJsonArray days;
    for (int day : rule.weekdays)
        days.append(day);
    o.insert(key::weekdays, days);
    if (rule.lastStampedDay)
        o.insert(key::lastStampedDay, *rule.lastStampedDay);
    return o;
}

QJsonObject encode(const PlannedBlock& item) {
    QJsonObject o;
    o.insert(key::id, uuidText(item.id));
    o.insert(key::title, item.title);
    o.insert(key::kind, rawValue(item.kind));
    o.insert(key::createdAt, item.createdAt);
    if (item.pinned)
        o.insert(key::pinned, *item.pinned);
    return o;
}

QJsonObject encode(const Settings& settings) {
    QJsonObject o;
    o.insert(key::chimesEnabled, settings.chimesEnabled);
    o.insert(key::deepWorkNoise, rawValue(settings.deepWorkNoise));
    o.insert(key::noiseVolume, settings.noiseVolume);
    o.insert(key::nudgesEnabled, settings.nudgesEnabled);
    o.insert(key::remindersEnabled, settings.remindersEnabled);
    o.insert(key::silenceNotifications, settings.silenceNotifications);
    return o;
}

template <> std::optional<WorkBlock> decode<WorkBlock>(const QJsonValue& value) {
    if (!value.isObject())
        return std::nullopt;
    const QJsonObject o = value.toObject();
    const auto id = uuidValue(o.value(key::id));
    const auto title = stringValue(o.value(key::title));
    const auto day = stringValue(o.value(key::day));
    const auto start = integerValue(o.value(key::startMinutes));
    const auto duration = integerValue(o.value(key::durationMinutes));
    const auto kind = kindValue(o.value(key::kind));
    if (!id || !title || !day || !start || !duration || !kind)
        return std::nullopt;
    WorkBlock block{*id, *title, *day, *start, *duration, *kind, std::nullopt, std::nullopt};
    if (!readOptional(o, key::repeatRuleID, uuidValue, block.repeatRuleID) ||
        !readOptional(o, key::createdAt, numberValue, block.createdAt))
        return std::nullopt;
    return block;
}

template <> std::optional<RepeatRule> decode<RepeatRule>(const QJsonValue& value) {
    if (!value.isObject())
        return std::nullopt;
    const QJsonObject o = value.toObject();
    const auto id = uuidValue(o.value(key::id));
    const auto title = stringValue(o.value(key::title));
    const auto kind = kindValue(o.value(key::kind));
    const auto start = integerValue(o.value(key::startMinutes));
    const auto duration = integerValue(o.value(key::durationMinutes));
    const QJsonValue days = o.value(key::weekdays);
    if (!id || !title || !kind || !start || !duration || !days.isArray())
        return std::nullopt;
    RepeatRule rule{*id, *title, *kind, *start, *duration, {}, std::nullopt};
    for (const QJsonValue& day : days.toArray()) {
        const auto number = integerValue(day);
        // Out-of-range numbers are kept (they never match a calendar weekday) as long as
        // they fit the set's element type.
        if (!number || *number < INT_MIN || *number > INT_MAX)
            return std::nullopt;
        rule.weekdays.insert(static_cast<int>(*number));
    }
    if (!readOptional(o, key::lastStampedDay, stringValue, rule.lastStampedDay))
        return std::nullopt;
    return rule;
}

template <> std::optional<PlannedBlock> decode<PlannedBlock>(const QJsonValue& value) {
    if (!value.isObject())
        return std::nullopt;
    const QJsonObject o = value.toObject();
    const auto id = uuidValue(o.value(key::id));
    const auto title = stringValue(o.value(key::title));
    const auto kind = kindValue(o.value(key::kind));
    const auto createdAt = numberValue(o.value(key::createdAt));
    if (!id || !title || !kind || !createdAt)
        return std::nullopt;
    PlannedBlock item{*id, *title, *kind, *createdAt, std::nullopt};
    if (!readOptional(o, key::pinned, boolValue, item.pinned))
        return std::nullopt;
    return item;
}

template <> std::optional<Settings> decode<Settings>(const QJsonValue& value) {
    if (!value.isObject())
        return std::nullopt;
    const QJsonObject o = value.toObject();
    const auto chimes = boolValue(o.value(key::chimesEnabled));
    const QJsonValue noiseValue = o.value(key::deepWorkNoise);
    const auto noise =
        noiseValue.isString() ? deepWorkNoiseFromRaw(noiseValue.toString()) : std::nullopt;
    const auto volume = numberValue(o.value(key::noiseVolume));
    const auto nudges = boolValue(o.value(key::nudgesEnabled));
    const auto reminders = boolValue(o.value(key::remindersEnabled));
    if (!chimes || !noise || !volume || !nudges || !reminders)
        return std::nullopt;
    Settings settings{*chimes, *noise, *volume, *nudges, *reminders};
    // Keys added later are optional: missing or null keeps the default, anything else must fit.
    std::optional<bool> silence;
    if (!readOptional(o, key::silenceNotifications, boolValue, silence))
        return std::nullopt;
    settings.silenceNotifications = silence.value_or(settings.silenceNotifications);
    return settings;
}

QByteArray encodeStateFile(const QJsonValue& value) {
    // QJsonObject keeps its keys sorted, so the indented document is sorted as well.
    const QJsonDocument document =
        value.isArray() ? QJsonDocument(value.toArray()) : QJsonDocument(value.toObject());
    return document.toJson(QJsonDocument::Indented);
}

std::optional<QJsonValue> parseDocument(const QByteArray& bytes) {
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &error);
    if (error.error != QJsonParseError::NoError)
        return std::nullopt;
    if (document.isArray())
        return QJsonValue(document.array());
    if (document.isObject())
        return QJsonValue(document.object());
    return std::nullopt;
}

std::optional<Settings> decodeSettingsFile(const QByteArray& bytes) {
    const std::optional<QJsonValue> document = parseDocument(bytes);
    if (!document)
        return std::nullopt;
    return decode<Settings>(*document);
}

} // namespace quillmere::json
