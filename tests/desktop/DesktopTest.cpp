// The panel in a person's hands: the real program on an X server beside a real tray, moved by
// real pointer and key events. What a synthetic Qt event cannot show happens here: the enter
// event a row gets when the row above it disappears, the focus change when a popup closes, the
// release that lands somewhere else because the layout moved under the pointer. Each scenario
// walks through several steps in one start of the program and judges by the data files and by
// the screen's pixels where the layout puts things.

#include "Desktop.h"

#include "model/JsonCodec.h"
#include "support/Printers.h"

using namespace quillmere;
using namespace Qt::StringLiterals;
using namespace quillmere::test;

namespace {

// Monday 2024-03-04, 10:30 in Berlin: the timeline opens with 9 AM at its top.
const QString fakeStart = u"@2024-03-04 10:30:00"_s;
constexpr int nowMinutes = 10 * 60 + 30;

bool isCrimson(QColor c) {
    return c.red() > 150 && c.green() < 80 && c.blue() < 120;
}

// The options menu's items as its keyboard walks them (dividers are skipped): the one place
// to change when the menu gains an item.
const QStringList optionsItems{
    u"Chimes"_s,          u"Focus Nudges"_s, u"Upcoming Reminders"_s,   u"Silence Notifications"_s,
    u"Deep Work Noise"_s, u"Statistics…"_s,  u"Clear Today's Blocks"_s, u"Start at Login"_s,
    u"Quit Quillmere"_s,
};

class PanelScenario : public ::testing::Test {
protected:
    PanelShot shot() const { return PanelShot(desk.grab(panel)); }
    QPoint at(int x, int y) const { return panel.topLeft() + QPoint(x, y); }
    // Where a minute of today is on the panel, found from the now dot.
    int minuteY(int minutes) const {
        const std::optional<int> y = shot().minuteY(minutes, nowMinutes);
        EXPECT_TRUE(y) << "the now dot is not on the panel";
        return y.value_or(0);
    }
    // QUILLMERE_DESKTOP_SHOTS names a folder for the screen of a failed scenario.
    void TearDown() override {
        if (HasFailure() && qEnvironmentVariableIsSet("QUILLMERE_DESKTOP_SHOTS"))
            desk.grab().save(qEnvironmentVariable("QUILLMERE_DESKTOP_SHOTS") + u'/' +
                             QString::fromLatin1(
                                 ::testing::UnitTest::GetInstance()->current_test_info()->name()) +
                             u".png"_s);
    }
    // Once the panel has closed, it is opened again from the icon, after the moment in which a
    // click on the icon would count as the closing one's echo.
    void reopen() {
        ASSERT_TRUE(waitFor([&] { return !panelOpen(); }, 3000)) << "the panel did not close";
        QTest::qWait(400);
        ASSERT_NO_FATAL_FAILURE(openPanel());
    }
    void openPanel() {
        const std::optional<QRect> opened = desk.openFromTray();
        ASSERT_TRUE(opened) << "the panel did not open from the tray icon";
        panel = *opened;
        header = shot().divider(0);
    }
    bool panelOpen() const { return desk.panel().has_value(); }
    bool popupWithin(int ms) const {
        return waitFor([&] { return !desk.popups().isEmpty(); }, ms);
    }
    // The options menu opened from the header and walked by its keyboard to `item` (dividers
    // are skipped; the first Down reaches the first item), then `keys`.
    void chooseOption(const QString& item, const QStringList& keys = {u"Return"_s}) {
        desk.click(at(optionsX, header / 2));
        ASSERT_TRUE(popupWithin(5000));
        const qsizetype steps = optionsItems.indexOf(item) + 1;
        ASSERT_GT(steps, 0) << item.toStdString();
        for (qsizetype i = 0; i < steps; ++i)
            desk.key(u"Down"_s);
        for (const QString& k : keys)
            desk.key(k);
    }
    // A data file's entries, each as its `fields` joined by spaces, become `want` (the program
    // writes in its own time).
    void expectSaved(const QString& file, const QStringList& fields, const QStringList& want,
                     int line) const {
        const auto entries = [&] {
            QStringList found;
            for (const QJsonValue& entry : desk.readList(file)) {
                QStringList values;
                for (const QString& field : fields)
                    values << entry[field].toVariant().toString();
                found << values.join(u' ');
            }
            return found;
        };
        waitFor([&] { return entries() == want; }, 3000);
        EXPECT_EQ(entries(), want) << "at line " << line;
    }
    // The saved blocks' (start, duration), once they are `want` or after three seconds.
    using Spans = QList<std::pair<int, int>>;
    Spans savedSpans(const Spans& want) const {
        Spans got;
        waitFor(
            [&] {
                got.clear();
                for (const QJsonValue& b : desk.readList(u"blocks.json"_s))
                    got.append({b[u"startMinutes"_s].toInt(), b[u"durationMinutes"_s].toInt()});
                return got == want;
            },
            3000);
        return got;
    }
    bool settingBecomes(const char* key, const QJsonValue& value) const {
        return waitFor(
            [&] { return desk.readObject(u"settings.json"_s)[QLatin1String(key)] == value; }, 3000);
    }
    // The selected block, `minutes` long, lies whole above the editor with its 8-point margins.
    void expectDeepCardAboveEditor(int minutes) const {
        const auto card = [&](const PanelShot& s) {
            return s.rowsWhere(200, s.divider(0) + 1, s.divider(-1), PanelShot::isDeepTint);
        };
        const int whole = minutes * 64 / 60 - 4;
        waitFor([&] { return card(shot()).size() >= whole; }, 2000);
        const PanelShot s = shot();
        ASSERT_GT(s.divider(-1), s.divider(0)) << "no editor";
        const QList<int> rows = card(s);
        ASSERT_GE(rows.size(), whole) << "the block is hidden behind the editor";
        EXPECT_GE(rows.first() - 8, s.divider(0));
        EXPECT_LE(rows.last() + 8, s.divider(-1));
    }
    // The editor's Save button, at its bottom right.
    void saveEdits() const { desk.click(at(340 - 14 - 36, 560 - 21)); }

    // The header's options button: 14 points in from the right edge, 26 wide.
    static constexpr int optionsX = 340 - 14 - 13;
    static constexpr int addX = optionsX - 32;
    // A backlog row's buttons, 18 wide, 6 apart, 14 in from the right edge.
    static constexpr int deleteX = 340 - 14 - 9;
    static constexpr int pinX = deleteX - 18 - 6;

    Desktop desk;
    QRect panel;
    int header = 0; // the header's divider
};

} // namespace

// The icon shows at once beside an XEmbed tray with no StatusNotifierWatcher, and the panel
// only when asked; blocks are drawn and saved with Return (in view above the editor, the header
// steady, the day toggles grey), selected, moved and resized with the pointer; a drag cut short
// by the panel closing leaves nothing behind; the add and options menus, the volume popover, the
// icon's own menu; closing by a click outside or on the icon; quitting.
TEST_F(PanelScenario, ATrayIconOpensThePanelWhereBlocksAreDrawnMovedAndResized) {
    ASSERT_NO_FATAL_FAILURE(desk.startTrayer());
    ASSERT_NO_FATAL_FAILURE(desk.startProgram(fakeStart));
    // The session bus has no watcher, but trayer owns the tray selection: there is nothing to
    // wait for, so the icon is there long before the grace of a trayless desktop would end.
    EXPECT_TRUE(waitFor([&] { return desk.trayHasIcon(); }, 5000))
        << "no icon in trayer within 5 s";
    ASSERT_TRUE(waitFor([&] { return desk.trayHasIcon(); }, 15000));
    EXPECT_FALSE(panelOpen()) << "the panel opened by itself";
    ASSERT_NO_FATAL_FAILURE(openPanel());
    // Beside the icon: under the tray, inside the screen.
    EXPECT_TRUE(QRect(0, 24, 800, 576).contains(panel)) << "the panel is off the screen";
    const int headerWithHint = header;
    ASSERT_GT(header, 0);

    {
        SCOPED_TRACE("a drag cut short by Escape closing the panel while the button is down");
        desk.move(at(200, minuteY(15 * 60) + 2));
        desk.xdotool({u"mousedown"_s, u"1"_s});
        desk.move(at(200, minuteY(16 * 60) - 2));
        desk.key(u"Escape"_s);
        desk.xdotool({u"mouseup"_s, u"1"_s});
        ASSERT_NO_FATAL_FAILURE(reopen());
    }

    // Draw 1 PM to 2 PM, low on the timeline, and save at once with Return: the next drag
    // draws only itself.
    desk.drag(at(200, minuteY(13 * 60) + 2), at(200, minuteY(14 * 60) - 2));
    EXPECT_NO_FATAL_FAILURE(expectDeepCardAboveEditor(60));
    {
        // No repeat day is chosen: each toggle is a faint disc with a grey letter, none black.
        const PanelShot s = shot();
        const QList<QRect> days = s.dayToggles(s.divider(-1));
        ASSERT_EQ(days.size(), 7) << "no day toggles in the editor";
        QList<int> levels;
        for (const QRect& day : days)
            levels << s.darkest(day);
        const auto [lightest, darkest] = std::minmax_element(levels.begin(), levels.end());
        EXPECT_GT(*lightest, 80) << "a day's letter is black";
        EXPECT_LT(*darkest, 200) << "a day's letter is missing";
    }
    // The focus is still on the timeline: Return saves from there.
    desk.key(u"Return"_s);
    EXPECT_EQ(savedSpans({{13 * 60, 60}}), (Spans{{13 * 60, 60}}))
        << "Return did not save the drawn block alone";
    // The header keeps its height when the hint gives way to the summary chips.
    EXPECT_EQ(shot().divider(0), headerWithHint);

    // A click selects the block; it is shown whole above the editor.
    desk.click(at(200, minuteY(13 * 60 + 30)));
    ASSERT_NO_FATAL_FAILURE(expectDeepCardAboveEditor(60));
    // Dragged up by an hour, its bottom edge half an hour down, its top edge a quarter down.
    const struct {
        const char* name;
        int from;
        int to;
        Spans saved;
    } steps[] = {
        {"moved", minuteY(13 * 60 + 30), minuteY(12 * 60 + 30), {{12 * 60, 60}}},
        {"bottom edge", minuteY(13 * 60) - 3, minuteY(13 * 60 + 30) - 3, {{12 * 60, 90}}},
        {"top edge", minuteY(12 * 60) + 3, minuteY(12 * 60 + 15) + 3, {{12 * 60 + 15, 75}}},
    };
    for (const auto& step : steps) {
        SCOPED_TRACE(step.name);
        desk.drag(at(200, step.from), at(200, step.to));
        saveEdits();
        EXPECT_EQ(savedSpans(step.saved), step.saved);
    }

    // By keys alone: Escape closes the panel, which opens again with the keyboard on the day;
    // Tab chooses the block, Down moves it a quarter later, Return saves; Escape lets go of
    // the block, and a second Escape closes the panel.
    desk.key(u"Escape"_s);
    ASSERT_NO_FATAL_FAILURE(reopen());
    for (const char* k : {"Tab", "Down", "Return"})
        desk.key(QString::fromLatin1(k));
    EXPECT_EQ(savedSpans({{12 * 60 + 30, 75}}), (Spans{{12 * 60 + 30, 75}}));
    desk.key(u"Tab"_s);
    desk.key(u"Escape"_s);
    QTest::qWait(300);
    EXPECT_TRUE(panelOpen()) << "the first Escape only lets go of the block";
    desk.key(u"Escape"_s);
    ASSERT_NO_FATAL_FAILURE(reopen());

    // "Add Deep Work" drafts the next free hour, 10:30 to 11:30; Return saves it, it runs, and
    // the icon in the tray turns crimson.
    desk.click(at(addX, header / 2));
    ASSERT_TRUE(popupWithin(5000));
    for (const char* k : {"Down", "Return", "Return"})
        desk.key(QString::fromLatin1(k));
    EXPECT_EQ(savedSpans({{12 * 60 + 30, 75}, {nowMinutes, 60}}),
              (Spans{{12 * 60 + 30, 75}, {nowMinutes, 60}}));
    const auto iconShowsDeepWork = [&] {
        const QImage icon = desk.grab(*desk.trayRect());
        for (int x = 0; x < icon.width(); ++x)
            if (isCrimson(icon.pixelColor(x, icon.height() / 2)))
                return true;
        return false;
    };
    EXPECT_TRUE(waitFor(iconShowsDeepWork, 5000)) << "the tray icon does not show deep work";
    // "Clear Today's Blocks" keeps only the running block.
    ASSERT_NO_FATAL_FAILURE(chooseOption(u"Clear Today's Blocks"_s));
    EXPECT_EQ(savedSpans({{nowMinutes, 60}}), (Spans{{nowMinutes, 60}}));

    // The options menu by pointer and keys: Chimes off.
    ASSERT_NO_FATAL_FAILURE(chooseOption(u"Chimes"_s));
    EXPECT_TRUE(settingBecomes("chimesEnabled", false));
    // Deep Work Noise › Volume…: the popover's slider dragged to its loud end.
    ASSERT_NO_FATAL_FAILURE(
        chooseOption(u"Deep Work Noise"_s, {u"Right"_s, u"Down"_s, u"Down"_s, u"Return"_s}));
    ASSERT_TRUE(waitFor([&] { return desk.popups().size() == 1; }, 5000));
    const QRect volume = desk.popups().first();
    EXPECT_LT(volume.width(), 340);
    desk.drag(volume.topLeft() + QPoint(38, volume.height() / 2),
              volume.topLeft() + QPoint(volume.width() - 20, volume.height() / 2));
    EXPECT_TRUE(waitFor(
        [&] { return desk.readObject(u"settings.json"_s)[u"noiseVolume"_s].toDouble() > 0.8; },
        3000));
    desk.key(u"Escape"_s);
    EXPECT_TRUE(waitFor([&] { return desk.popups().isEmpty(); }, 3000));
    EXPECT_TRUE(panelOpen());

    // A click outside closes the panel, so does a click on the icon while it is open; the
    // icon's menu opens it too; Quit ends the program.
    desk.click(QPoint(100, 300));
    ASSERT_NO_FATAL_FAILURE(reopen());
    const QPoint icon(desk.trayRect()->right() - 12, 12);
    desk.click(icon);
    EXPECT_TRUE(waitFor([&] { return !panelOpen(); }, 3000));
    QTest::qWait(400); // a second click this soon would be the same click's echo
    desk.click(icon, 3);
    ASSERT_TRUE(popupWithin(5000));
    const QRect iconMenu = desk.popups().first();
    desk.click(QPoint(iconMenu.left() + 30, iconMenu.top() + 12)); // "Open Quillmere"
    ASSERT_TRUE(waitFor([&] { return panelOpen(); }, 5000));
    panel = *desk.panel();
    desk.click(at(optionsX, header / 2));
    ASSERT_TRUE(popupWithin(5000));
    const QRect menu = desk.popups().first();
    desk.click(QPoint(menu.left() + 40, menu.bottom() - 10)); // "Quit Quillmere", the last item
    ASSERT_TRUE(waitFor([&] { return !desk.program().running(); }, 5000));
    EXPECT_EQ(desk.program().process().exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(desk.program().process().exitCode(), 0);
}

// A second start while the first still waits for a tray opens the panel once an XEmbed tray
// is there (a StatusNotifierItem host: integration_tests' tray scenario). Then the backlog and
// the editor by hand: expanding, a row's kind swatch, hovering, pinning, deleting, adding,
// scheduling; a click on a row or outside the panel while a title is half typed; the wheel
// while the tray is open; the editor's kind buttons, start stepper, a repeat day, a typed title
// and Delete; the noise choice; the statistics window.
TEST_F(PanelScenario, ALateTrayAndTheBacklogAndTheEditorByHand) {
    const auto planned = [](const QString& title, WorkKind kind) {
        return PlannedBlock{QUuid::createUuid(), title, kind, 750000000.0, std::nullopt};
    };
    desk.writeData(u"planned.json"_s, json::encodeList(std::vector<PlannedBlock>{
                                          planned(u"Alpha"_s, WorkKind::deep),
                                          planned(u"Beta"_s, WorkKind::shallow)}));
    {
        SCOPED_TRACE("no tray of either kind: the first start waits, and so does the second's");
        ASSERT_NO_FATAL_FAILURE(desk.startProgram(fakeStart));
        QTest::qWait(1500);
        ASSERT_TRUE(desk.program().running());
        EXPECT_FALSE(panelOpen());
        FakeTimeProgram second;
        ASSERT_NO_FATAL_FAILURE(desk.startProgram(fakeStart, second));
        ASSERT_TRUE(second.process().waitForFinished(10000));
        EXPECT_EQ(second.process().exitCode(), 0);
        EXPECT_FALSE(panelOpen());
        ASSERT_NO_FATAL_FAILURE(desk.startTrayer());
        // Seen within moments, well before the ten seconds a trayless desktop waits.
        EXPECT_TRUE(waitFor([&] { return desk.trayHasIcon(); }, 3000));
        EXPECT_TRUE(waitFor([&] { return panelOpen(); }, 5000))
            << "the second start's request was lost";
        // Opened by a request, the panel holds no pointer grab here: closed from the icon and
        // opened from it, it is as the user opens it.
        desk.click(QPoint(desk.trayRect()->right() - 12, 12));
        ASSERT_NO_FATAL_FAILURE(reopen());
    }
    const QPoint trayHeader = at(100, header + 17);
    const QPoint plus = at(340 - 14 - 8, header + 17);
    const auto expectTitles = [&](const QStringList& want, int line) {
        expectSaved(u"planned.json"_s, {u"title"_s}, want, line);
    };
    const auto expectBlocks = [&](const QStringList& want, int line) {
        expectSaved(u"blocks.json"_s, {u"title"_s, u"kind"_s}, want, line);
    };
    // Rows stack up from the tray's bottom divider.
    const auto rowY = [&](int index, int count) {
        return shot().divider(1) - 6 - (count - index) * 26 + 13;
    };
    const auto expanded = [&] {
        const PanelShot s = shot();
        return s.divider(1) - s.divider(0) > 40;
    };
    const auto expand = [&] {
        if (!expanded())
            desk.click(trayHeader);
        return waitFor(expanded, 3000);
    };

    // A click on the tray's header expands it, passing through heights in between.
    const auto heightsAfterClick = [&] {
        QSet<int> seen;
        desk.move(trayHeader);
        desk.xdotool({u"click"_s, u"1"_s}, 0);
        QElapsedTimer clock;
        clock.start();
        while (clock.elapsed() < 400)
            seen << shot().divider(1);
        return seen.size();
    };
    EXPECT_GT(heightsAfterClick(), 2) << "expanding did not animate";
    ASSERT_TRUE(waitFor(expanded, 3000));
    // A row's kind swatch switches Alpha to shallow.
    desk.click(at(14 + 7, rowY(0, 2)));
    EXPECT_TRUE(waitFor(
        [&] { return desk.readList(u"planned.json"_s)[0][u"kind"_s] == u"shallow"_s; }, 3000))
        << "the row's swatch did not switch the kind";
    desk.click(trayHeader);
    ASSERT_TRUE(waitFor([&] { return !expanded(); }, 3000));

    {
        SCOPED_TRACE("the editor");
        // Draw 12:00 to 13:00, make it shallow, start it a quarter later, repeat it on
        // Mondays, name it, and save.
        desk.drag(at(200, minuteY(12 * 60) + 2), at(200, minuteY(13 * 60) - 2));
        const int editorTop = shot().divider(-1);
        ASSERT_GT(editorTop, 300) << "no editor";
        desk.click(at(250, editorTop + 50)); // "Shallow Work"
        desk.click(at(322, editorTop + 76)); // the start's up arrow
        const QList<QRect> days = shot().dayToggles(editorTop);
        ASSERT_EQ(days.size(), 7);
        desk.click(at(days[1].center().x(), days[1].center().y())); // M
        desk.click(at(150, editorTop + 20));
        desk.key(u"ctrl+a"_s);
        desk.type(u"Essay"_s);
        desk.key(u"Return"_s);
        expectBlocks({u"Essay shallow"_s}, __LINE__);
        EXPECT_EQ(savedSpans({{12 * 60 + 15, 60}}), (Spans{{12 * 60 + 15, 60}}));
        waitFor([&] { return desk.readList(u"rules.json"_s).size() == 1; }, 3000);
        const QJsonArray rules = desk.readList(u"rules.json"_s);
        ASSERT_EQ(rules.size(), 1);
        EXPECT_EQ(rules[0][u"weekdays"_s].toArray(), QJsonArray{2});

        // No noise (brown is the default) from the options menu: Deep Work Noise › Off.
        ASSERT_NO_FATAL_FAILURE(chooseOption(u"Deep Work Noise"_s, {u"Right"_s, u"Return"_s}));
        EXPECT_TRUE(settingBecomes("deepWorkNoise", u"off"_s));

        // Selected again, the block goes with the editor's Delete.
        desk.click(at(200, minuteY(12 * 60 + 45)));
        ASSERT_TRUE(waitFor([&] { return shot().divider(-1) > 300; }, 3000));
        desk.click(at(20, 560 - 21));
        expectBlocks({}, __LINE__); // the editor's Delete
    }

    // The open tray leaves the wheel to the timeline.
    ASSERT_TRUE(expand());
    const int nowBefore = shot().nowY().value_or(0);
    desk.wheel(at(200, 400), 5, 3);
    EXPECT_TRUE(waitFor([&] { return shot().nowY().value_or(0) < nowBefore; }, 2000))
        << "the wheel did not scroll the timeline";

    // Hover fills the row and shows its buttons; pin Beta.
    desk.move(at(150, rowY(1, 2)));
    EXPECT_TRUE(waitFor([&] { return !shot().isBackground(3, rowY(1, 2)); }, 2000))
        << "no hover fill";
    EXPECT_FALSE(shot().isBackground(deleteX, rowY(1, 2))) << "no delete button";
    desk.click(at(pinX, rowY(1, 2)));
    EXPECT_TRUE(
        waitFor([&] { return desk.readList(u"planned.json"_s)[1][u"pinned"_s].toBool(); }, 3000));

    // The plus button opens the entry row with the focus in it; Return adds.
    desk.click(plus);
    desk.type(u"Write report"_s);
    desk.key(u"Return"_s);
    expectTitles({u"Alpha"_s, u"Beta"_s, u"Write report"_s}, __LINE__);

    // A click on Beta while the entry row holds a title: the trimmed title is added, Beta's
    // draft opens, and saving it keeps the pinned Beta in the backlog.
    desk.click(plus);
    desk.type(u"  Call Bob "_s);
    desk.click(at(150, rowY(1, 3)));
    expectTitles({u"Alpha"_s, u"Beta"_s, u"Write report"_s, u"Call Bob"_s}, __LINE__);
    EXPECT_TRUE(waitFor([&] { return shot().dividers().size() == 3; }, 2000)) << "no draft opened";
    saveEdits();
    expectBlocks({u"Beta shallow"_s}, __LINE__);
    expectTitles({u"Alpha"_s, u"Beta"_s, u"Write report"_s, u"Call Bob"_s}, __LINE__);

    // Scheduling an unpinned entry and saving its draft takes it off the backlog.
    ASSERT_TRUE(expand());
    desk.click(at(150, rowY(2, 4)));
    desk.key(u"Return"_s);
    expectBlocks({u"Beta shallow"_s, u"Write report deep"_s}, __LINE__);
    expectTitles({u"Alpha"_s, u"Beta"_s, u"Call Bob"_s}, __LINE__);

    // Collapsing animates as expanding did.
    ASSERT_TRUE(expanded());
    EXPECT_GT(heightsAfterClick(), 2) << "collapsing did not animate";
    EXPECT_FALSE(expanded());

    // A title typed and left by a click outside the panel is kept as the panel closes.
    desk.click(plus);
    desk.type(u"Read paper"_s);
    desk.click(QPoint(100, 300));
    ASSERT_NO_FATAL_FAILURE(reopen());
    expectTitles({u"Alpha"_s, u"Beta"_s, u"Call Bob"_s, u"Read paper"_s}, __LINE__);
    ASSERT_TRUE(expand());

    // Deleting the top row with the pointer: the next row slides under it.
    desk.move(at(150, rowY(0, 4)));
    desk.click(at(deleteX, rowY(0, 4)));
    expectTitles({u"Beta"_s, u"Call Bob"_s, u"Read paper"_s}, __LINE__);
    QTest::qWait(500);
    ASSERT_TRUE(desk.program().running() && desk.trayHasIcon())
        << "deleting a row with the pointer ended the program";

    // Statistics… opens its own window.
    ASSERT_NO_FATAL_FAILURE(chooseOption(u"Statistics…"_s));
    EXPECT_TRUE(waitFor([&] { return desk.shows(u"^Quillmere Statistics$"_s); }, 5000));
}
