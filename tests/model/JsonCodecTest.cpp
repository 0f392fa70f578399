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
RepeatRule sampleRule() {
    return RepeatRule{ruleId, QStringLiteral("Standup"),   WorkKind::shallow, 540, 15,
                      {2, 3}, QStringLiteral("2024-03-04")};
}
PlannedBlock samplePlanned() {
    return PlannedBlock{blockId, QStringLiteral("Inbox"), WorkKind::deep, 1000.5, true};
}

QJsonObject object(const char* text) {
    return QJsonDocument::fromJson(QByteArray(text)).object();
}

// Encodes, checks which keys the object has, and decodes it again.
template <typename T> void expectRoundTrip(const T& value, qsizetype keyCount) {
    const QJsonObject encoded = json::encode(value);
    EXPECT_EQ(encoded.size(), keyCount) << QJsonDocument(encoded).toJson().toStdString();
    EXPECT_EQ(decode<T>(encoded), value);
}

template <typename T> bool decodes(const QJsonObject& o) {
    return decode<T>(o).has_value();
}

} // namespace

TEST(JsonCodec, EveryRecordRoundTripsAndLeavesAbsentOptionalKeysOut) {
    WorkBlock bare = sampleBlock();
    bare.repeatRuleID.reset();
    bare.createdAt.reset();
    RepeatRule unstamped = sampleRule();
    unstamped.lastStampedDay.reset();
    PlannedBlock unpinned = samplePlanned();
    unpinned.pinned.reset();
    PlannedBlock pinnedFalse = samplePlanned();
    pinnedFalse.pinned = false; // kept apart from absent: unpinning takes the key out
    Settings custom;
    custom.chimesEnabled = false;
    custom.deepWorkNoise = DeepWorkNoise::off;
    custom.noiseVolume = 0.35;

    expectRoundTrip(sampleBlock(), 8);
    expectRoundTrip(bare, 6);
    expectRoundTrip(sampleRule(), 7);
    expectRoundTrip(unstamped, 6);
    expectRoundTrip(samplePlanned(), 5);
    expectRoundTrip(unpinned, 4);
    expectRoundTrip(pinnedFalse, 5);
    expectRoundTrip(custom, 5);

    // Identifiers are written in the canonical upper-case form.
    const QJsonObject encoded = json::encode(sampleBlock());
    EXPECT_EQ(encoded.value(QStringLiteral("id")).toString(),
              QStringLiteral("6F1D2C3B-4A59-4867-9786-A5B4C3D2E1F0"));
    EXPECT_EQ(encoded.value(QStringLiteral("repeatRuleID")).toString(),
              QStringLiteral("0A1B2C3D-4E5F-4061-8273-94A5B6C7D8E9"));
    EXPECT_EQ(json::decodeSettingsFile(json::encodeStateFile(json::encode(custom))), custom);
}

TEST(JsonCodec, NullsUnknownKeysLowerCaseIdsAndRepeatedWeekdaysAreAccepted) {
    const auto block = decode<WorkBlock>(object(R"({
        "id": "6f1d2c3b-4a59-4867-9786-a5b4c3d2e1f0", "title": "", "day": "2024-03-04",
        "startMinutes": -30, "durationMinutes": 60, "kind": "shallow",
        "repeatRuleID": null, "createdAt": null, "colour": "green"})"));
    ASSERT_TRUE(block);
    EXPECT_EQ(block->id, blockId);
    EXPECT_EQ(block->startMinutes, -30);
    EXPECT_FALSE(block->repeatRuleID);
    EXPECT_FALSE(block->createdAt);

    const auto rule = decode<RepeatRule>(object(R"({
        "id": "0A1B2C3D-4E5F-4061-8273-94A5B6C7D8E9", "title": "Standup", "kind": "shallow",
        "startMinutes": 540, "durationMinutes": 15, "weekdays": [2, 2, 3, 9]})"));
    ASSERT_TRUE(rule);
    EXPECT_EQ(rule->weekdays, (Weekdays{2, 3, 9}));
}

TEST(JsonCodec, AnyOtherDeviationFailsTheRecord) {
    const QJsonValue remove(QJsonValue::Undefined);
    struct Case {
        const char* record;
        bool (*decodes)(const QJsonObject&);
        QJsonObject good;
        const char* key;
        QJsonValue value; // Undefined takes the key out
    };
    const QJsonObject block = json::encode(sampleBlock());
    const QJsonObject rule = json::encode(sampleRule());
    const QJsonObject item = json::encode(samplePlanned());
    const QJsonObject settings = json::encode(Settings{});
    const std::vector<Case> cases = {
        {"block", decodes<WorkBlock>, block, "id", remove},
        {"block", decodes<WorkBlock>, block, "title", remove},
        {"block", decodes<WorkBlock>, block, "day", remove},
        {"block", decodes<WorkBlock>, block, "startMinutes", remove},
        {"block", decodes<WorkBlock>, block, "durationMinutes", remove},
        {"block", decodes<WorkBlock>, block, "kind", remove},
        {"block", decodes<WorkBlock>, block, "kind", QStringLiteral("Deep")},
        {"block", decodes<WorkBlock>, block, "kind", QStringLiteral("other")},
        {"block", decodes<WorkBlock>, block, "startMinutes", 540.5},
        {"block", decodes<WorkBlock>, block, "startMinutes", QStringLiteral("540")},
        {"block", decodes<WorkBlock>, block, "startMinutes", 1e300},
        {"block", decodes<WorkBlock>, block, "durationMinutes", QJsonValue::Null},
        {"block", decodes<WorkBlock>, block, "title", 5},
        {"block", decodes<WorkBlock>, block, "id", QStringLiteral("not-a-uuid")},
        {"block", decodes<WorkBlock>, block, "id",
         QStringLiteral("{6F1D2C3B-4A59-4867-9786-A5B4C3D2E1F0}")},
        {"block", decodes<WorkBlock>, block, "repeatRuleID", 7},
        {"block", decodes<WorkBlock>, block, "createdAt", QStringLiteral("2024-03-04T09:00:00Z")},
        {"rule", decodes<RepeatRule>, rule, "weekdays", remove},
        {"rule", decodes<RepeatRule>, rule, "weekdays", 2},
        {"rule", decodes<RepeatRule>, rule, "weekdays", QJsonArray{2, QStringLiteral("Monday")}},
        {"rule", decodes<RepeatRule>, rule, "weekdays", QJsonArray{2.5}},
        {"rule", decodes<RepeatRule>, rule, "weekdays", QJsonArray{1e12}},
        {"rule", decodes<RepeatRule>, rule, "lastStampedDay", 20240304},
        {"planned", decodes<PlannedBlock>, item, "createdAt", remove},
        {"planned", decodes<PlannedBlock>, item, "pinned", 1},
        {"settings", decodes<Settings>, settings, "noiseVolume", remove},
        {"settings", decodes<Settings>, settings, "deepWorkNoise", QStringLiteral("pink")},
        {"settings", decodes<Settings>, settings, "chimesEnabled", 1},
    };
    for (const Case& c : cases) {
        ASSERT_TRUE(c.decodes(c.good)) << c.record;
        QJsonObject bad = c.good;
        if (c.value.isUndefined())
            bad.remove(QLatin1StringView(c.key));
        else
            bad.insert(QLatin1StringView(c.key), c.value);
        EXPECT_FALSE(c.decodes(bad))
            << c.record << ' ' << c.key << ' ' << QJsonDocument(bad).toJson().toStdString();
    }
    EXPECT_FALSE(json::decodeSettingsFile(QByteArray("[]")));
}

TEST(JsonCodec, OneBadElementFailsTheWholeList) {
    QJsonArray array{json::encode(sampleBlock())};
    EXPECT_EQ(decodeList<WorkBlock>(QJsonDocument(array).toJson())->size(), 1u);
    array.append(QJsonObject{{QStringLiteral("id"), QStringLiteral("x")}});
    EXPECT_FALSE(decodeList<WorkBlock>(QJsonDocument(array).toJson()));
    for (const char* bytes : {"{}", "[", ""})
        EXPECT_FALSE(decodeList<WorkBlock>(QByteArray(bytes))) << bytes;
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
    EXPECT_TRUE(bytes.contains("\n    {\n        \"createdAt\": 731232000.25,"));
}
