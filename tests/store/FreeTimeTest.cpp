#include "store/FreeTime.h"

#include "support/StoreHarness.h"

using namespace quillmere;
using namespace quillmere::FreeTime;
using quillmere::test::makeBlock;

namespace {

// A placement as "start+duration", so whole answers compare in one line.
std::string show(const std::optional<Placement>& p) {
    return p ? std::to_string(p->start) + "+" + std::to_string(p->duration) : "nothing";
}
std::string show(const std::variant<Placement, PlacementFault>& v) {
    if (const auto* p = std::get_if<Placement>(&v))
        return show(std::optional(*p));
    return "fault " + std::to_string(static_cast<int>(std::get<PlacementFault>(v)));
}

const QString day = QStringLiteral("2024-03-04");

} // namespace

TEST(FreeTime, NearestFreeStartAndFreeGapFindTheClosestRoom) {
    EXPECT_EQ(nearestFreeStart({}, 500, 60), 500);
    EXPECT_EQ(nearestFreeStart({}, 1430, 60), 1380);
    EXPECT_EQ(nearestFreeStart({}, -40, 60), 0);
    EXPECT_EQ(nearestFreeStart({{660, 720}, {540, 600}}, 590, 30), 600); // unsorted input
    EXPECT_EQ(nearestFreeStart({{540, 600}}, 560, 20), 520); // a tie goes to the earlier start
    EXPECT_EQ(nearestFreeStart({{0, 1440}}, 600, 15), std::nullopt);
    EXPECT_EQ(nearestFreeStart({{0, 700}, {710, 1440}}, 600, 15), std::nullopt);
    // Overlapping busy intervals (a block under a reserved slot) still make one busy stretch.
    EXPECT_EQ(nearestFreeStart({{540, 660}, {600, 620}}, 600, 30), 660);

    EXPECT_EQ(freeGap({}, 600), (MinuteRange{0, 1440}));
    EXPECT_EQ(freeGap({{600, 660}, {540, 600}}, 600), (MinuteRange{600, 600}));
    EXPECT_EQ(freeGap({{570, 630}}, 600), std::nullopt);
    EXPECT_EQ(freeGap({{480, 540}, {700, 760}, {900, 960}}, 600), (MinuteRange{540, 700}));
    EXPECT_EQ(freeGap({{480, 540}}, 1440), (MinuteRange{540, 1440}));
}

TEST(FreeTime, NextFreeQuarterSkipsBlocksShrinksToTheNextAndStopsAtMidnight) {
    const auto small = makeBlock(QStringLiteral("x"), day, 555, 5);
    const auto later = makeBlock(QStringLiteral("y"), day, 580, 80);
    const auto soon = makeBlock(QStringLiteral("z"), day, 600, 30);
    const std::tuple<std::vector<WorkBlock>, Minutes, const char*> cases[] = {
        {{}, 547, "555+60"},     {{small}, 547, "570+60"}, {{small, later}, 547, "660+60"},
        {{soon}, 547, "555+45"}, {{}, 1420, "1425+15"},    {{}, 1430, "nothing"},
    };
    for (const auto& [blocks, now, expected] : cases)
        EXPECT_EQ(show(nextFreeQuarter(blocks, now)), expected) << now;
}

TEST(FreeTime, PlaceBlockTakesAFreeTimeOrSaysWhyNot) {
    // 9:00-10:00 and 10:30-11:00 taken; now is 8:50.
    const std::vector<WorkBlock> today{makeBlock(QStringLiteral("a"), day, 540, 60),
                                       makeBlock(QStringLiteral("b"), day, 630, 30)};
    using Start = std::optional<Minutes>;
    const auto at = [](Minutes s, Minutes d) { return Placement{s, d}; };
    const std::tuple<Start, Start, std::variant<Placement, PlacementFault>> cases[] = {
        {{}, {}, at(600, 30)},              // where the add buttons would put it
        {{}, 30, at(600, 30)},              // the first half hour free after now
        {{}, 45, at(660, 45)},              // 10:00-10:30 is too short for 45 m
        {600, {}, at(600, 30)},             // up to the next block
        {660, {}, at(660, 60)},             // up to an hour
        {1425, {}, at(1425, 15)},           // up to midnight
        {600, 45, PlacementFault::overlap}, // runs into 10:30
        {570, 15, PlacementFault::overlap}, // inside 9:00-10:00
        {630, {}, PlacementFault::overlap}, // a block starts right there
        {605, 30, PlacementFault::offGrid}, // off the quarter hours
        {600, 20, PlacementFault::offGrid},
        {-15, 30, PlacementFault::offGrid},
        {1440, {}, PlacementFault::offGrid},
        {1380, 90, PlacementFault::pastMidnight},
        {{}, 1440, PlacementFault::dayFull},
    };
    for (const auto& [start, duration, expected] : cases)
        EXPECT_EQ(show(placeBlock(today, 530, start, duration)), show(expected))
            << start.value_or(-1) << " for " << duration.value_or(0);
}
