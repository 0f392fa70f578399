#pragma once

#include "model/PlannedBlock.h"
#include "model/RepeatRule.h"
#include "model/Settings.h"
#include "model/WorkBlock.h"

#include <QByteArray>
#include <QJsonArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QUuid>

#include <optional>
#include <vector>

// The JSON forms of the records in the four state files. Keys are the field names; optional
// fields are left out when absent and read back as absent when missing or null; unknown keys
// are ignored; any other deviation fails the record, and one failing element fails its list.
namespace quillmere::json {

// Canonical 36-character upper-case form.
QString uuidText(const QUuid& id);
// Accepts only the 36-character hyphenated form, in either case.
std::optional<QUuid> parseUuid(const QString& text);

QJsonObject encode(const WorkBlock& block);
QJsonObject encode(const RepeatRule& rule);
QJsonObject encode(const PlannedBlock& item);
QJsonObject encode(const Settings& settings);

template <typename T> std::optional<T> decode(const QJsonValue& value);
template <> std::optional<WorkBlock> decode<WorkBlock>(const QJsonValue& value);
template <> std::optional<RepeatRule> decode<RepeatRule>(const QJsonValue& value);
template <> std::optional<PlannedBlock> decode<PlannedBlock>(const QJsonValue& value);
template <> std::optional<Settings> decode<Settings>(const QJsonValue& value);

// The one form every state file is written in: indented, keys sorted.
QByteArray encodeStateFile(const QJsonValue& value);

template <typename T> QByteArray encodeList(const std::vector<T>& items) {
    QJsonArray array;
    for (const T& item : items)
        array.append(encode(item));
    return encodeStateFile(array);
}

// The blocks file is the one written on every edit and read back with a month in it, so it
// is written directly rather than built as a document first; the bytes are those above.
template <> QByteArray encodeList<WorkBlock>(const std::vector<WorkBlock>& items);

// Parses a whole file. Anything that is not valid JSON of the expected shape is nothing.
std::optional<QJsonValue> parseDocument(const QByteArray& bytes);

template <typename T> std::optional<std::vector<T>> decodeList(const QByteArray& bytes) {
    const std::optional<QJsonValue> document = parseDocument(bytes);
    if (!document || !document->isArray())
        return std::nullopt;
    const QJsonArray array = document->toArray();
    std::vector<T> items;
    items.reserve(static_cast<std::size_t>(array.size()));
    for (const QJsonValue& element : array) {
        std::optional<T> item = decode<T>(element);
        if (!item)
            return std::nullopt;
        items.push_back(std::move(*item));
    }
    return items;
}

std::optional<Settings> decodeSettingsFile(const QByteArray& bytes);

} // namespace quillmere::json
