#include "model/JsonCodec.h"

#include <QJsonDocument>
#include <QJsonObject>

#include "support/Printers.h"

#include <gtest/gtest.h>

using namespace quillmere;
using json::decode;
using json::decodeList;

namespace {

const QUuid blockId = QUuid::fromString(QStringLiteral("6F1D2C3B-4A59-4867-9786-A5B4C3D2E1F0"));
const QUuid ruleId = QUuid::fromString(QStringLiteral("0A1B2C3D-4E5F-4061-8273-94A5B6C7D8E9"));

WorkBlock sampleBlock() {
    return WorkBlock{blockId,
                     QStringLiteral("Write"),
                     QStringLiteral("2024-03-04"),
                     540,
                     90,
                     WorkKind::deep,
                     ruleId,
                     731232000.25};
}

QJsonObject object(const char* text) {
    return QJsonDocument::fromJson(QByteArray(text)).object();
}

} // namespace

TEST(JsonCodec, WorkBlockRoundTripsWithAndWithoutOptionalKeys) {
    const WorkBlock full = sampleBlock();
    const QJsonObject encoded = json::encode(full);
    EXPECT_EQ(encoded.value(QStringLiteral("id")).toString(),
              QStringLiteral("6F1D2C3B-4A59-4867-9786-A5B4C3D2E1F0"));
    EXPECT_EQ(encoded.value(QStringLiteral("repeatRuleID")).toString(),
              QStringLiteral("0A1B2C3D-4E5F-4061-8273-94A5B6C7D8E9"));
    EXPECT_EQ(decode<WorkBlock>(encoded), full);

    WorkBlock bare = full;
    bare.repeatRuleID.reset();
    bare.createdAt.reset();
    const QJsonObject bareJson = json::encode(bare);
    EXPECT_EQ(bareJson.size(), 6);
    EXPECT_FALSE(bareJson.contains(QStringLiteral("repeatRuleID")));
    EXPECT_FALSE(bareJson.contains(QStringLiteral("createdAt")));
    EXPECT_EQ(decode<WorkBlock>(bareJson), bare);

    WorkBlock later = full;
    later.createdAt = *full.createdAt + 1;
    EXPECT_NE(later, full);
}

TEST(JsonCodec, WorkBlockDecodingRules) {
    // Null optional keys read as absent; unknown keys are ignored; lower-case UUIDs parse.
    const auto lenient = decode<WorkBlock>(object(R"({
        "id": "6f1d2c3b-4a59-4867-9786-a5b4c3d2e1f0", "title": "", "day": "2024-03-04",
        "startMinutes": 540, "durationMinutes": 60, "kind": "shallow",
        "repeatRuleID": null, "createdAt": null, "colour": "green"})"));
    ASSERT_TRUE(lenient);
    EXPECT_EQ(lenient->id, blockId);
    EXPECT_FALSE(lenient->repeatRuleID);
    EXPECT_FALSE(lenient->createdAt);
    EXPECT_FALSE(json::encode(*lenient).contains(QStringLiteral("repeatRuleID")));

    const QJsonObject good = json::encode(sampleBlock());
    const auto without = [&](const char* key) {
        QJsonObject o = good;
        o.remove(QLatin1StringView(key));
        return o;
    };
    const auto with = [&](const char* key, const QJsonValue& value) {
        QJsonObject o = good;
        o.insert(QLatin1StringView(key), value);
        return o;
    };
    for (const char* key : {"id", "title", "day", "startMinutes", "durationMinutes", "kind"})
        EXPECT_FALSE(decode<WorkBlock>(without(key))) << key;
    EXPECT_FALSE(decode<WorkBlock>(with("kind", QStringLiteral("Deep"))));
    EXPECT_FALSE(decode<WorkBlock>(with("kind", QStringLiteral("other"))));
    EXPECT_FALSE(decode<WorkBlock>(with("startMinutes", 540.5)));
    EXPECT_FALSE(decode<WorkBlock>(with("startMinutes", QStringLiteral("540"))));
    EXPECT_FALSE(decode<WorkBlock>(with("startMinutes", 1e300)));
    EXPECT_FALSE(decode<WorkBlock>(with("durationMinutes", QJsonValue::Null)));
    EXPECT_FALSE(decode<WorkBlock>(with("title", 5)));
    EXPECT_FALSE(decode<WorkBlock>(with("id", QStringLiteral("not-a-uuid"))));
    EXPECT_FALSE(
        decode<WorkBlock>(with("id", QStringLiteral("{6F1D2C3B-4A59-4867-9786-A5B4C3D2E1F0}"))));
    EXPECT_FALSE(decode<WorkBlock>(with("repeatRuleID", 7)));
    EXPECT_FALSE(decode<WorkBlock>(with("createdAt", QStringLiteral("2024-03-04T09:00:00Z"))));
    EXPECT_TRUE(decode<WorkBlock>(with("startMinutes", -30)));
}

TEST(JsonCodec, OneBadElementFailsTheWholeList) {
    QJsonArray array{json::encode(sampleBlock())};
    const auto one = decodeList<WorkBlock>(QJsonDocument(array).toJson());
    ASSERT_TRUE(one);
    EXPECT_EQ(one->size(), 1u);
    array.append(QJsonObject{{QStringLiteral("id"), QStringLiteral("x")}});
    EXPECT_FALSE(decodeList<WorkBlock>(QJsonDocument(array).toJson()));
    EXPECT_FALSE(decodeList<WorkBlock>(QByteArray("{}")));
    EXPECT_FALSE(decodeList<WorkBlock>(QByteArray("[")));
    EXPECT_FALSE(decodeList<WorkBlock>(QByteArray("")));
    EXPECT_TRUE(decodeList<WorkBlock>(QByteArray("[]")));
}

TEST(JsonCodec, StateFilesAreIndentedWithSortedKeys) {
    const QByteArray bytes = json::encodeList(std::vector<WorkBlock>{sampleBlock()});
    const QList<QByteArray> keys{"createdAt", "day",          "durationMinutes", "id",
                                 "kind",      "repeatRuleID", "startMinutes",    "title"};
    qsizetype last = -1;
    for (const QByteArray& key : keys) {
        const qsizetype at = bytes.indexOf(QByteArray("\"" + key + "\""));
        ASSERT_GT(at, last) << key.constData();
        last = at;
    }
    EXPECT_TRUE(bytes.contains("\n    {\n        \"createdAt\""));
    EXPECT_TRUE(bytes.contains("731232000.25"));
    EXPECT_EQ(decodeList<WorkBlock>(bytes)->front(), sampleBlock());
}

TEST(JsonCodec, RepeatRuleWeekdaysAndLastStampedDay) {
    const auto rule = decode<RepeatRule>(object(R"({
        "id": "0A1B2C3D-4E5F-4061-8273-94A5B6C7D8E9", "title": "Standup", "kind": "shallow",
        "startMinutes": 540, "durationMinutes": 15, "weekdays": [2, 2, 3]})"));
    ASSERT_TRUE(rule);
    EXPECT_EQ(rule->weekdays, (Weekdays{2, 3}));
    EXPECT_FALSE(rule->lastStampedDay);
    const QJsonObject encoded = json::encode(*rule);
    EXPECT_EQ(encoded.value(QStringLiteral("weekdays")).toArray().size(), 2);
    EXPECT_FALSE(encoded.contains(QStringLiteral("lastStampedDay")));

    RepeatRule stamped = *rule;
    stamped.lastStampedDay = QStringLiteral("2024-03-04");
    EXPECT_EQ(decode<RepeatRule>(json::encode(stamped)), stamped);
    EXPECT_NE(stamped, *rule);

    QJsonObject bad = encoded;
    bad.insert(QStringLiteral("weekdays"), QJsonArray{2, QStringLiteral("Monday")});
    EXPECT_FALSE(decode<RepeatRule>(bad));
    bad.insert(QStringLiteral("weekdays"), 2);
    EXPECT_FALSE(decode<RepeatRule>(bad));
    bad.insert(QStringLiteral("weekdays"), QJsonArray{2.5});
    EXPECT_FALSE(decode<RepeatRule>(bad));
}

TEST(JsonCodec, PlannedBlockPinnedIsAbsentFalseOrTrue) {
    const auto item = decode<PlannedBlock>(object(R"({
        "id": "6F1D2C3B-4A59-4867-9786-A5B4C3D2E1F0", "title": "Inbox", "kind": "deep",
        "createdAt": 1000.5})"));
    ASSERT_TRUE(item);
    EXPECT_FALSE(item->pinned);
    EXPECT_FALSE(json::encode(*item).contains(QStringLiteral("pinned")));

    PlannedBlock unpinned = *item;
    unpinned.pinned = false;
    EXPECT_NE(unpinned, *item); // absent and false are different values
    EXPECT_EQ(json::encode(unpinned).value(QStringLiteral("pinned")), QJsonValue(false));
    EXPECT_EQ(decode<PlannedBlock>(json::encode(unpinned)), unpinned);

    QJsonObject noDate = json::encode(*item);
    noDate.remove(QStringLiteral("createdAt"));
    EXPECT_FALSE(decode<PlannedBlock>(noDate));
    QJsonObject badPin = json::encode(*item);
    badPin.insert(QStringLiteral("pinned"), 1);
    EXPECT_FALSE(decode<PlannedBlock>(badPin));
}

TEST(JsonCodec, SettingsDecodeWholeOrNotAtAll) {
    const Settings defaults;
    EXPECT_TRUE(defaults.chimesEnabled && defaults.nudgesEnabled && defaults.remindersEnabled);
    EXPECT_EQ(defaults.deepWorkNoise, DeepWorkNoise::brown);
    EXPECT_DOUBLE_EQ(defaults.noiseVolume, 0.1);

    Settings custom;
    custom.chimesEnabled = false;
    custom.deepWorkNoise = DeepWorkNoise::off;
    custom.noiseVolume = 0.35;
    EXPECT_EQ(json::decodeSettingsFile(json::encodeStateFile(json::encode(custom))), custom);

    EXPECT_FALSE(json::decodeSettingsFile(QByteArray(R"({"chimesEnabled": false})")));
    EXPECT_FALSE(json::decodeSettingsFile(QByteArray(
        R"({"chimesEnabled": true, "deepWorkNoise": "pink", "noiseVolume": 0.1,
            "nudgesEnabled": true, "remindersEnabled": true})")));
    EXPECT_FALSE(json::decodeSettingsFile(QByteArray(
        R"({"chimesEnabled": 1, "deepWorkNoise": "off", "noiseVolume": 0.1,
            "nudgesEnabled": true, "remindersEnabled": true})")));
    EXPECT_FALSE(json::decodeSettingsFile(QByteArray("[]")));
}
