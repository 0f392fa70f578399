#include "model/JsonCodec.h"

#include "support/Printers.h"

#include <QJsonDocument>

#include <gtest/gtest.h>

using namespace quillmere;
using namespace quillmere::json;
using namespace Qt::StringLiterals;

const QUuid blockId = QUuid::fromString(u"6F1D2C3B-4A59-4867-9786-A5B4C3D2E1F0"_s);
const QUuid ruleId = QUuid::fromString(u"0A1B2C3D-4E5F-4061-8273-94A5B6C7D8E9"_s);
const WorkBlock sampleBlock{blockId, u"Write"_s,     u"2024-03-04"_s, 540,
                            90,      WorkKind::deep, ruleId,          731232000.25};
const RepeatRule sampleRule{ruleId, u"Standup"_s, WorkKind::shallow, 540,
                            15,     {2, 3},       u"2024-03-04"_s};
const PlannedBlock samplePlanned{blockId, u"Inbox"_s, WorkKind::deep, 1000.5, true};

// Encodes, checks how many keys the object has, and decodes it again.
template <typename T> void expectRoundTrip(const T& value, qsizetype keyCount) {
    const QJsonObject encoded = json::encode(value);
    EXPECT_EQ(encoded.size(), keyCount) << QJsonDocument(encoded).toJson().toStdString();
    EXPECT_EQ(decode<T>(encoded), value);
}

// Each change to a good record fails it: a value its key's form does not allow, or a required
// key taken out (inserting Undefined removes the key).
using Wrong = std::pair<const char*, std::vector<QJsonValue>>;
template <typename T> void expectRejected(const T& good, std::initializer_list<Wrong> wrong) {
    ASSERT_TRUE(decode<T>(json::encode(good)));
    for (const auto& [key, values] : wrong)
        for (const QJsonValue& value : values) {
            QJsonObject bad = json::encode(good);
            bad.insert(QLatin1StringView(key), value);
            EXPECT_FALSE(decode<T>(bad)) << key << QJsonDocument(bad).toJson().toStdString();
        }
}

TEST(JsonCodec, EveryRecordRoundTripsAndLeavesAbsentOptionalKeysOut) {
    const Settings custom{false, DeepWorkNoise::off, 0.35, true, false, true};
    expectRoundTrip(sampleBlock, 8);
    expectRoundTrip(WorkBlock{blockId, {}, u"2024-03-04"_s, 0, 90, WorkKind::shallow, {}, {}}, 6);
    expectRoundTrip(sampleRule, 7);
    expectRoundTrip(RepeatRule{ruleId, {}, WorkKind::deep, -5, 15, {}, {}}, 6);
    expectRoundTrip(samplePlanned, 5);
    expectRoundTrip(PlannedBlock{blockId, u"Inbox"_s, WorkKind::deep, 1000.5, {}}, 4);
    // Not pinned is kept apart from absent: unpinning takes the key out.
    expectRoundTrip(PlannedBlock{blockId, u"Inbox"_s, WorkKind::deep, 1000.5, false}, 5);
    expectRoundTrip(custom, 6);
    EXPECT_EQ(decodeList<WorkBlock>("[]"), std::vector<WorkBlock>{});
    EXPECT_EQ(json::decodeSettingsFile(json::encodeStateFile(json::encode(custom))), custom);
}

TEST(JsonCodec, NullsUnknownKeysLowerCaseIdsAndRepeatedWeekdaysAreAccepted) {
    EXPECT_EQ(
        decodeList<WorkBlock>(R"([{
        "id": "6f1d2c3b-4a59-4867-9786-a5b4c3d2e1f0", "title": "", "day": "2024-03-04",
        "startMinutes": -30, "durationMinutes": 60, "kind": "shallow",
        "repeatRuleID": null, "createdAt": null, "colour": "green"}])"),
        (std::vector{WorkBlock{blockId, {}, u"2024-03-04"_s, -30, 60, WorkKind::shallow, {}, {}}}));
    EXPECT_EQ(
        decodeList<RepeatRule>(R"([{
        "id": "0A1B2C3D-4E5F-4061-8273-94A5B6C7D8E9", "title": "Standup", "kind": "shallow",
        "startMinutes": 540, "durationMinutes": 15, "weekdays": [2, 2, 3, 9]}])"),
        (std::vector{RepeatRule{ruleId, u"Standup"_s, WorkKind::shallow, 540, 15, {2, 3, 9}, {}}}));

    // Files written before the later settings keys existed read as before, with their defaults.
    for (const char* later : {"}", R"(, "silenceNotifications": null})"})
        EXPECT_EQ(json::decodeSettingsFile(R"({"chimesEnabled": false, "deepWorkNoise": "off",
            "noiseVolume": 0.5, "nudgesEnabled": true, "remindersEnabled": true)" +
                                           QByteArray(later)),
                  (Settings{false, DeepWorkNoise::off, 0.5, true, true, false}))
            << later;
}

TEST(JsonCodec, AnyOtherDeviationFailsTheRecord) {
    const QJsonValue gone = QJsonValue::Undefined;
    expectRejected(sampleBlock,
                   {{"id", {gone, u"not-a-uuid"_s, u"{6F1D2C3B-4A59-4867-9786-A5B4C3D2E1F0}"_s}},
                    {"title", {gone, 5}},
                    {"day", {gone}},
                    {"startMinutes", {gone, 540.5, u"540"_s, 1e300}},
                    {"durationMinutes", {gone, QJsonValue::Null}},
                    {"kind", {gone, u"Deep"_s, u"other"_s}},
                    {"repeatRuleID", {7}},
                    {"createdAt", {u"2024-03-04T09:00:00Z"_s}}});
    expectRejected(
        sampleRule,
        {{"weekdays", {gone, 2, QJsonArray{2, u"Monday"_s}, QJsonArray{2.5}, QJsonArray{1e12}}},
         {"lastStampedDay", {20240304}}});
    expectRejected(samplePlanned, {{"createdAt", {gone}}, {"pinned", {1}}});
    expectRejected(Settings{}, {{"noiseVolume", {gone}},
                                {"deepWorkNoise", {u"pink"_s}},
                                {"chimesEnabled", {1}},
                                {"silenceNotifications", {u"yes"_s}}});
    EXPECT_FALSE(json::decodeSettingsFile(QByteArray("[]")));
}

TEST(JsonCodec, StateFilesAreIndentedWithSortedKeysAndUpperCaseIds) {
    const QByteArray bytes = json::encodeList(std::vector{sampleBlock});
    EXPECT_TRUE(
        bytes.startsWith("[\n    {\n        \"createdAt\": 731232000.25,\n        \"day\""));
    EXPECT_TRUE(bytes.contains("\"id\": \"6F1D2C3B-4A59-4867-9786-A5B4C3D2E1F0\""));

    // The blocks file is written directly; its bytes are exactly Qt's (which sorts the keys),
    // whatever the titles and numbers, including those that Qt escapes or writes in exponent
    // form.
    std::vector<WorkBlock> blocks{sampleBlock, sampleBlock};
    blocks[1].repeatRuleID.reset();
    blocks[1].createdAt.reset();
    for (const auto& [title, createdAt] :
         std::initializer_list<std::pair<QString, double>>{{u"Grüße, 日本"_s, 800000000.0},
                                                           {u"say \"hi\"\\ \t\u0001"_s, 0.1},
                                                           {u"emoji \U0001F600"_s, -0.0},
                                                           {QString(QChar(0xD800)), 1e20},
                                                           {u"\u007f"_s, 9007199254740994.0},
                                                           {u"tiny"_s, 1.5e-7}})
        blocks.push_back(
            {blockId, title, u"2024-03-04"_s, -5, 90, WorkKind::deep, ruleId, createdAt});
    QJsonArray viaQt;
    for (const WorkBlock& b : blocks)
        viaQt.append(json::encode(b));
    EXPECT_EQ(json::encodeList(blocks), json::encodeStateFile(viaQt));
    EXPECT_EQ(json::encodeList(std::vector<WorkBlock>{}), json::encodeStateFile(QJsonArray{}));
}
