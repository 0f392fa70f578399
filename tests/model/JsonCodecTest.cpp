#include "model/JsonCodec.h"

#include <QJsonDocument>
#include <QJsonObject>

#include "support/Printers.h"

#include <gtest/gtest.h>

#include <span>

using namespace quillmere;
using json::decode;
using json::decodeList;
using namespace Qt::StringLiterals;

namespace {

const QUuid blockId = QUuid::fromString(u"6F1D2C3B-4A59-4867-9786-A5B4C3D2E1F0"_s);
const QUuid ruleId = QUuid::fromString(u"0A1B2C3D-4E5F-4061-8273-94A5B6C7D8E9"_s);

WorkBlock sampleBlock() {
    return {blockId, u"Write"_s, u"2024-03-04"_s, 540, 90, WorkKind::deep, ruleId, 731232000.25};
}
RepeatRule sampleRule() {
    return {ruleId, u"Standup"_s, WorkKind::shallow, 540, 15, {2, 3}, u"2024-03-04"_s};
}
PlannedBlock samplePlanned() {
    return {blockId, u"Inbox"_s, WorkKind::deep, 1000.5, true};
}

template <typename T> std::optional<T> decodeText(const char* text) {
    return decode<T>(QJsonDocument::fromJson(QByteArray(text)).object());
}

// Encodes, checks which keys the object has, and decodes it again.
template <typename T> void expectRoundTrip(const T& value, qsizetype keyCount) {
    const QJsonObject encoded = json::encode(value);
    EXPECT_EQ(encoded.size(), keyCount) << QJsonDocument(encoded).toJson().toStdString();
    EXPECT_EQ(decode<T>(encoded), value);
}

// Taking out any required key fails the record, as does any value a key's form does not allow.
using Wrong = std::pair<const char*, QJsonArray>;
template <typename T>
void expectRejected(const T& good, std::initializer_list<const char*> required,
                    std::span<const Wrong> wrong) {
    const QJsonObject encoded = json::encode(good);
    ASSERT_TRUE(decode<T>(encoded));
    for (const char* key : required) {
        QJsonObject bad = encoded;
        bad.remove(QLatin1StringView(key));
        EXPECT_FALSE(decode<T>(bad)) << "without " << key;
    }
    for (const auto& [key, values] : wrong) {
        for (const QJsonValue& value : values) {
            QJsonObject bad = encoded;
            bad.insert(QLatin1StringView(key), value);
            EXPECT_FALSE(decode<T>(bad)) << QJsonDocument(bad).toJson().toStdString();
        }
    }
}

} // namespace

TEST(JsonCodec, EveryRecordRoundTripsAndLeavesAbsentOptionalKeysOut) {
    const Settings custom{false, DeepWorkNoise::off, 0.35, true, false, true};
    expectRoundTrip(sampleBlock(), 8);
    expectRoundTrip(WorkBlock{blockId, {}, u"2024-03-04"_s, 0, 90, WorkKind::shallow, {}, {}}, 6);
    expectRoundTrip(sampleRule(), 7);
    expectRoundTrip(RepeatRule{ruleId, {}, WorkKind::deep, -5, 15, {}, {}}, 6);
    expectRoundTrip(samplePlanned(), 5);
    expectRoundTrip(PlannedBlock{blockId, u"Inbox"_s, WorkKind::deep, 1000.5, {}}, 4);
    // Not pinned is kept apart from absent: unpinning takes the key out.
    expectRoundTrip(PlannedBlock{blockId, u"Inbox"_s, WorkKind::deep, 1000.5, false}, 5);
    expectRoundTrip(custom, 6);
    EXPECT_EQ(json::decodeSettingsFile(json::encodeStateFile(json::encode(custom))), custom);
}

TEST(JsonCodec, NullsUnknownKeysLowerCaseIdsAndRepeatedWeekdaysAreAccepted) {
    EXPECT_EQ(decodeText<WorkBlock>(R"({
        "id": "6f1d2c3b-4a59-4867-9786-a5b4c3d2e1f0", "title": "", "day": "2024-03-04",
        "startMinutes": -30, "durationMinutes": 60, "kind": "shallow",
        "repeatRuleID": null, "createdAt": null, "colour": "green"})"),
              (WorkBlock{blockId, {}, u"2024-03-04"_s, -30, 60, WorkKind::shallow, {}, {}}));
    EXPECT_EQ(decodeText<RepeatRule>(R"({
        "id": "0A1B2C3D-4E5F-4061-8273-94A5B6C7D8E9", "title": "Standup", "kind": "shallow",
        "startMinutes": 540, "durationMinutes": 15, "weekdays": [2, 2, 3, 9]})"),
              (RepeatRule{ruleId, u"Standup"_s, WorkKind::shallow, 540, 15, {2, 3, 9}, {}}));

    // Files written before the later settings keys existed read as before, with their defaults.
    for (const char* later : {"}", R"(, "silenceNotifications": null})"}) {
        const QByteArray text = R"({"chimesEnabled": false, "deepWorkNoise": "off",
            "noiseVolume": 0.5, "nudgesEnabled": true, "remindersEnabled": true)" +
                                QByteArray(later);
        EXPECT_EQ(decodeText<Settings>(text.constData()),
                  (Settings{false, DeepWorkNoise::off, 0.5, true, true, false}))
            << later;
    }
}

TEST(JsonCodec, AnyOtherDeviationFailsTheRecord) {
    const Wrong block[] = {{"kind", {u"Deep"_s, u"other"_s}},
                           {"startMinutes", {540.5, u"540"_s, 1e300}},
                           {"durationMinutes", {QJsonValue::Null}},
                           {"title", {5}},
                           {"id", {u"not-a-uuid"_s, u"{6F1D2C3B-4A59-4867-9786-A5B4C3D2E1F0}"_s}},
                           {"repeatRuleID", {7}},
                           {"createdAt", {u"2024-03-04T09:00:00Z"_s}}};
    const Wrong rule[] = {
        {"weekdays", {2, QJsonArray{2, u"Monday"_s}, QJsonArray{2.5}, QJsonArray{1e12}}},
        {"lastStampedDay", {20240304}}};
    const Wrong planned[] = {{"pinned", {1}}};
    const Wrong settings[] = {{"deepWorkNoise", {u"pink"_s}},
                              {"chimesEnabled", {1}},
                              {"silenceNotifications", {u"yes"_s}}};
    expectRejected(sampleBlock(), {"id", "title", "day", "startMinutes", "durationMinutes", "kind"},
                   block);
    expectRejected(sampleRule(), {"weekdays"}, rule);
    expectRejected(samplePlanned(), {"createdAt"}, planned);
    expectRejected(Settings{}, {"noiseVolume"}, settings);
    EXPECT_FALSE(json::decodeSettingsFile(QByteArray("[]")));
}

TEST(JsonCodec, OneBadElementFailsTheWholeList) {
    QJsonArray array{json::encode(sampleBlock())};
    EXPECT_EQ(decodeList<WorkBlock>(QJsonDocument(array).toJson())->size(), 1u);
    array.append(QJsonObject{{u"id"_s, u"x"_s}});
    EXPECT_FALSE(decodeList<WorkBlock>(QJsonDocument(array).toJson()));
    for (const char* bytes : {"{}", "[", ""})
        EXPECT_FALSE(decodeList<WorkBlock>(QByteArray(bytes))) << bytes;
    EXPECT_TRUE(decodeList<WorkBlock>(QByteArray("[]")));
}

TEST(JsonCodec, StateFilesAreIndentedWithSortedKeys) {
    // Identifiers in their canonical upper-case form.
    const QByteArray bytes = json::encodeList(std::vector<WorkBlock>{sampleBlock()});
    EXPECT_TRUE(
        bytes.startsWith("[\n    {\n        \"createdAt\": 731232000.25,\n        \"day\""));
    EXPECT_TRUE(bytes.contains("\"id\": \"6F1D2C3B-4A59-4867-9786-A5B4C3D2E1F0\""));
    EXPECT_TRUE(bytes.contains("\"repeatRuleID\": \"0A1B2C3D-4E5F-4061-8273-94A5B6C7D8E9\""));

    // The blocks file is written directly; its bytes are exactly Qt's (which sorts the keys),
    // whatever the titles and numbers, including those that Qt escapes or writes in exponent
    // form.
    const auto viaQt = [](const std::vector<WorkBlock>& blocks) {
        QJsonArray array;
        for (const WorkBlock& b : blocks)
            array.append(json::encode(b));
        return json::encodeStateFile(array);
    };
    WorkBlock bare = sampleBlock();
    bare.repeatRuleID.reset();
    bare.createdAt.reset();
    std::vector<std::vector<WorkBlock>> lists{{}, {sampleBlock(), bare}};
    const std::pair<QString, double> odd[] = {
        {u"Grüße, 日本"_s, 800000000.0},   {u"say \"hi\"\\ \t\u0001"_s, 0.1},
        {u"emoji \U0001F600"_s, -0.0},     {QString(QChar(0xD800)), 1e20},
        {u"\u007f"_s, 9007199254740994.0}, {u"tiny"_s, 1.5e-7},
    };
    for (const auto& [title, createdAt] : odd) {
        WorkBlock b = sampleBlock();
        b.title = title;
        b.createdAt = createdAt;
        b.startMinutes = -5;
        lists.push_back({bare, b});
    }
    for (const auto& blocks : lists)
        EXPECT_EQ(json::encodeList(blocks), viaQt(blocks))
            << (blocks.empty() ? std::string("empty") : blocks.back().title.toStdString());
}
