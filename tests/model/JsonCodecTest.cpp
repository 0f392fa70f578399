#include "model/JsonCodec.h"

#include <QJsonDocument>
#include <QJsonObject>

#include "support/Printers.h"

#include <gtest/gtest.h>

using namespace quillmere;
using json::decode;
using json::decodeList;
using namespace Qt::StringLiterals;

namespace {

const QUuid blockId = QUuid::fromString(QStringLiteral("6F1D2C3B-4A59-4867-9786-A5B4C3D2E1F0"));
const QUuid ruleId = QUuid::fromString(QStringLiteral("0A1B2C3D-4E5F-4061-8273-94A5B6C7D8E9"));

WorkBlock sampleBlock() {
    return {blockId, u"Write"_s, u"2024-03-04"_s, 540, 90, WorkKind::deep, ruleId, 731232000.25};
}
RepeatRule sampleRule() {
    return {ruleId, u"Standup"_s, WorkKind::shallow, 540, 15, {2, 3}, u"2024-03-04"_s};
}
PlannedBlock samplePlanned() {
    return {blockId, u"Inbox"_s, WorkKind::deep, 1000.5, true};
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

// Each change takes a key out (Undefined) or gives it a value the form does not allow.
template <typename T>
void expectRejected(const T& good,
                    std::initializer_list<std::pair<const char*, QJsonValue>> changes) {
    const QJsonObject encoded = json::encode(good);
    ASSERT_TRUE(decode<T>(encoded));
    for (const auto& [key, value] : changes) {
        QJsonObject bad = encoded;
        if (value.isUndefined())
            bad.remove(QLatin1StringView(key));
        else
            bad.insert(QLatin1StringView(key), value);
        EXPECT_FALSE(decode<T>(bad)) << QJsonDocument(bad).toJson().toStdString();
    }
}

} // namespace

TEST(JsonCodec, EveryRecordRoundTripsAndLeavesAbsentOptionalKeysOut) {
    const WorkBlock bare{blockId, {}, u"2024-03-04"_s, 0, 90, WorkKind::shallow, {}, {}};
    const RepeatRule unstamped{ruleId, {}, WorkKind::deep, -5, 15, {}, {}};
    const PlannedBlock unpinned{blockId, u"Inbox"_s, WorkKind::deep, 1000.5, {}};
    // Not pinned is kept apart from absent: unpinning takes the key out.
    const PlannedBlock pinnedFalse{blockId, u"Inbox"_s, WorkKind::deep, 1000.5, false};
    const Settings custom{false, DeepWorkNoise::off, 0.35, true, false, true};
    expectRoundTrip(sampleBlock(), 8);
    expectRoundTrip(bare, 6);
    expectRoundTrip(sampleRule(), 7);
    expectRoundTrip(unstamped, 6);
    expectRoundTrip(samplePlanned(), 5);
    expectRoundTrip(unpinned, 4);
    expectRoundTrip(pinnedFalse, 5);
    expectRoundTrip(custom, 6);

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

    // Files written before the later settings keys existed read as before, with their defaults.
    for (const char* later : {"", R"(, "silenceNotifications": null)"}) {
        const QByteArray text = QByteArray(R"({
            "chimesEnabled": false, "deepWorkNoise": "off", "noiseVolume": 0.5,
            "nudgesEnabled": true, "remindersEnabled": true)") +
                                later + "}";
        const auto settings = decode<Settings>(object(text.constData()));
        ASSERT_TRUE(settings) << later;
        EXPECT_EQ(*settings, (Settings{false, DeepWorkNoise::off, 0.5, true, true, false}));
    }
}

TEST(JsonCodec, AnyOtherDeviationFailsTheRecord) {
    const QJsonValue out(QJsonValue::Undefined);
    expectRejected(sampleBlock(), {{"id", out},
                                   {"title", out},
                                   {"day", out},
                                   {"startMinutes", out},
                                   {"durationMinutes", out},
                                   {"kind", out},
                                   {"kind", u"Deep"_s},
                                   {"kind", u"other"_s},
                                   {"startMinutes", 540.5},
                                   {"startMinutes", u"540"_s},
                                   {"startMinutes", 1e300},
                                   {"durationMinutes", QJsonValue::Null},
                                   {"title", 5},
                                   {"id", u"not-a-uuid"_s},
                                   {"id", u"{6F1D2C3B-4A59-4867-9786-A5B4C3D2E1F0}"_s},
                                   {"repeatRuleID", 7},
                                   {"createdAt", u"2024-03-04T09:00:00Z"_s}});
    expectRejected(sampleRule(), {{"weekdays", out},
                                  {"weekdays", 2},
                                  {"weekdays", QJsonArray{2, u"Monday"_s}},
                                  {"weekdays", QJsonArray{2.5}},
                                  {"weekdays", QJsonArray{1e12}},
                                  {"lastStampedDay", 20240304}});
    expectRejected(samplePlanned(), {{"createdAt", out}, {"pinned", 1}});
    expectRejected(Settings{}, {{"noiseVolume", out},
                                {"deepWorkNoise", u"pink"_s},
                                {"chimesEnabled", 1},
                                {"silenceNotifications", u"yes"_s}});
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

    // The blocks file is written directly; its bytes are exactly Qt's, whatever the titles
    // and numbers, including those that Qt escapes or writes in exponent form.
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
