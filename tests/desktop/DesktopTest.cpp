// The panel in a person's hands: the real program on an X server beside a real tray, moved by
// real pointer and key events. What a synthetic Qt event cannot show happens here: the enter
// event a row gets when the row above it disappears, the focus change when a popup closes, the
// release that lands somewhere else because the layout moved under the pointer. Each scenario
// walks through several steps in one start of the program and judges by the data files and by
// the screen's pixels where the layout puts things.

#include "model/JsonCodec.h"
#include "support/NotificationSession.h"
#include "support/Printers.h"

#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTest>

#include <xcb/xcb.h>

#include <functional>
#include <ranges>

using namespace quillmere;
using namespace quillmere::test; // and its string literals

namespace {

// Monday 2024-03-04, 10:30 in Berlin: the timeline opens with 9 AM at its top.
const QString fakeStart = u"@2024-03-04 10:30:00"_s;
// QUILLMERE_DESKTOP_BINARY runs the scenarios against another build of the program.
const QString binary =
    qEnvironmentVariable("QUILLMERE_DESKTOP_BINARY", QStringLiteral(QUILLMERE_BINARY));
constexpr int nowMinutes = 10 * 60 + 30;
constexpr QSize panelSize{340, 560};

// The options menu's items as its keyboard walks them (dividers are skipped): the one place
// to change when the menu gains an item.
const QStringList optionsItems =
    u"Chimes|Focus Nudges|Upcoming Reminders|Silence Notifications|Deep Work Noise|Statistics…|"
    "Clear Today's Blocks|Start at Login|Quit Quillmere"_s.split(u'|');

bool differs(QColor a, QColor b, int tolerance = 6) {
    return std::abs(a.red() - b.red()) + std::abs(a.green() - b.green()) +
               std::abs(a.blue() - b.blue()) >
           tolerance;
}
// The now line's orange-leaning red, told apart from the crimson of deep work (whose blue
// outweighs its green) that fills the editor's chosen kind.
bool isNowRed(QColor c) {
    return c.red() > 200 && c.green() < 140 && c.blue() < 140 && c.green() >= c.blue();
}
// A card's fill: the kind's colour laid thinly over the panel.
bool isDeepTint(QColor c) {
    return c.red() - c.green() > 30 && c.red() - c.blue() > 15 && !isNowRed(c);
}
bool isCrimson(QColor c) {
    return c.red() > 150 && c.green() < 80 && c.blue() < 120;
}

// A grab of the open panel, read the way the layout predicts: full-width dividers between the
// header, the backlog tray, the timeline and the editor; the timeline's red now dot; the tint of
// a block card. Positions are panel coordinates.
struct PanelShot {
    // The now dot sits left of the cards, centred on x = label width + 3 + half the dot.
    static constexpr int nowDotX = 54;
    QImage image;

    QColor at(int x, int y) const { return image.pixelColor(x, y); }
    bool isBackground(int x, int y) const { return !differs(at(x, y), at(3, 3)); }

    // Rows holding a one-pixel line across the whole width.
    QList<int> dividers() const {
        QList<int> rows;
        for (int y = 1; y + 1 < image.height(); ++y)
            if (!isBackground(3, y) && isBackground(3, y - 1) && isBackground(3, y + 1) &&
                !differs(at(3, y), at(image.width() / 2, y)) &&
                !differs(at(3, y), at(image.width() - 20, y)))
                rows << y;
        return rows;
    }
    // The index-th divider from the top (from the bottom when negative), or 0.
    int divider(qsizetype index) const {
        const QList<int> rows = dividers();
        return rows.value(index < 0 ? rows.size() + index : index, 0);
    }
    // The centre row of the now dot.
    std::optional<int> nowY() const {
        const QList<int> rows = rowsWhere(nowDotX, 0, image.height(), isNowRed);
        return rows.isEmpty() ? std::nullopt : std::optional((rows.first() + rows.last()) / 2);
    }
    // The rows of column x between top and bottom (exclusive) that a predicate accepts.
    template <typename Pred> QList<int> rowsWhere(int x, int top, int bottom, Pred pred) const {
        QList<int> rows;
        for (int y = std::max(top, 0); y < std::min(bottom, image.height()); ++y)
            if (pred(at(x, y)))
                rows << y;
        return rows;
    }

    // The editor's seven day toggles: the boxes around the rows below `top` where seven discs
    // of 14 to 20 pixels stand side by side in the right half of the panel.
    QList<QRect> dayToggles(int top) const {
        QList<QRect> boxes(7);
        for (int y = top; y < image.height(); ++y) {
            QList<QRect> row;
            for (int x = image.width() / 2; x < image.width() - 2; ++x)
                if (!isBackground(x, y) && !row.isEmpty() && row.last().right() == x - 1)
                    row.last().setRight(x);
                else if (!isBackground(x, y))
                    row << QRect(x, y, 1, 1);
            const auto disc = [](const QRect& r) { return r.width() >= 14 && r.width() <= 20; };
            if (row.size() == 7 && std::ranges::all_of(row, disc))
                for (qsizetype i = 0; i < 7; ++i)
                    boxes[i] |= row[i]; // a null box grows into the row's
        }
        return boxes[0].isNull() ? QList<QRect>() : boxes;
    }
    // The darkest grey level inside a box.
    int darkest(const QRect& box) const {
        int level = 255;
        for (int y = box.top(); y <= box.bottom(); ++y)
            for (int x = box.left(); x <= box.right(); ++x)
                level = std::min(level, qGray(image.pixel(x, y)));
        return level;
    }
};

// One desktop for one scenario: the shared session (an 800 × 600 X server and a private bus,
// no notification daemon), an XEmbed tray (trayer), the real program on the session's data
// folder under a faked wall clock, and the user's pointer and keyboard through XTest (xdotool).
class PanelScenario : public ::testing::Test, public NotificationSession {
protected:
    void SetUp() override {
        ASSERT_NO_FATAL_FAILURE(start(false));
        m_x = xcb_connect(environment().value(u"DISPLAY"_s).toLocal8Bit().constData(), nullptr);
    }
    // QUILLMERE_DESKTOP_SHOTS names a folder for the screen of a failed scenario.
    void TearDown() override {
        const QString folder = qEnvironmentVariable("QUILLMERE_DESKTOP_SHOTS");
        if (HasFailure() && !folder.isEmpty())
            grab().save(
                folder + u'/' +
                QLatin1String(testing::UnitTest::GetInstance()->current_test_info()->name()) +
                u".png"_s);
    }
    ~PanelScenario() override { xcb_disconnect(m_x); }

    QJsonValue setting(const char* key) const {
        return QJsonDocument::fromJson(readData(u"settings.json"_s))[QLatin1String(key)];
    }

    // Debian's trayer on the top edge, on the right; it grows by one 24-pixel slot per
    // embedded icon.
    void startTrayer() {
        spawn(u"trayer"_s, u"--edge top --align right --widthtype request --height 24 "
                           "--transparent false --SetDockType false --expand false"_s.split(u' '));
        ASSERT_TRUE(waitFor([&] { return !trayRect().isNull(); }, 10000)) << "no trayer";
    }
    // ---- what is on the screen ----

    xcb_window_t root() const { return xcb_setup_roots_iterator(xcb_get_setup(m_x)).data->root; }
    // Mapped top-level windows, bottom to top.
    QList<QRect> windows() const {
        QList<QRect> found;
        Reply<xcb_query_tree_reply_t> tree(
            xcb_query_tree_reply(m_x, xcb_query_tree(m_x, root()), nullptr));
        for (int i = 0; tree && i < xcb_query_tree_children_length(tree.get()); ++i) {
            const xcb_window_t child = xcb_query_tree_children(tree.get())[i];
            Reply<xcb_get_window_attributes_reply_t> attrs(xcb_get_window_attributes_reply(
                m_x, xcb_get_window_attributes(m_x, child), nullptr));
            Reply<xcb_get_geometry_reply_t> geo(
                xcb_get_geometry_reply(m_x, xcb_get_geometry(m_x, child), nullptr));
            if (attrs && geo && attrs->map_state == XCB_MAP_STATE_VIEWABLE)
                found << QRect(geo->x, geo->y, geo->width, geo->height);
        }
        return found;
    }
    // The first window `which` accepts, or a null rectangle.
    QRect window(const std::function<bool(const QRect&)>& which) const {
        for (const QRect& w : windows())
            if (which(w))
                return w;
        return {};
    }
    QRect panelWindow() const {
        return window([](const QRect& w) { return w.size() == panelSize; });
    }
    bool panelOpen() const { return !panelWindow().isNull(); }
    // trayer's panel: the top-level window on the top edge 24 pixels high.
    QRect trayRect() const {
        return window(
            [](const QRect& w) { return w.top() == 0 && w.height() == 24 && w.right() == 799; });
    }
    // trayer is 2 pixels wide while empty and grows by a 24-pixel slot per icon.
    bool trayHasIcon() const { return trayRect().width() >= 24; }
    QPoint icon() const { return QPoint(trayRect().right() - 12, 12); }
    // Top-level windows that are neither the panel nor trayer's (menus, popovers, tooltips).
    QList<QRect> popups() const {
        QList<QRect> found = windows();
        found.removeIf([&](const QRect& w) {
            return w.size() == panelSize || w == trayRect() || w.width() <= 4 || w.height() <= 4 ||
                   w == QRect(0, 0, 800, 600);
        });
        return found;
    }

    QImage grab(const QRect& area = QRect(0, 0, 800, 600)) const {
        Reply<xcb_get_image_reply_t> image(xcb_get_image_reply(
            m_x,
            xcb_get_image(m_x, XCB_IMAGE_FORMAT_Z_PIXMAP, root(), static_cast<int16_t>(area.x()),
                          static_cast<int16_t>(area.y()), static_cast<uint16_t>(area.width()),
                          static_cast<uint16_t>(area.height()), ~0u),
            nullptr));
        if (!image)
            return {};
        // Xvfb's 24-bit visual keeps pixels in 32 bits, blue first: Qt's RGB32 on little endian.
        return QImage(xcb_get_image_data(image.get()), area.width(), area.height(),
                      area.width() * 4, QImage::Format_RGB32)
            .copy();
    }
    PanelShot shot() const { return {grab(panel)}; }
    QPoint at(int x, int y) const { return panel.topLeft() + QPoint(x, y); }
    // Where a minute of today is on the panel, counted from the now dot, an hour 64 pixels.
    int minuteY(int minutes) const {
        const std::optional<int> now = shot().nowY();
        EXPECT_TRUE(now) << "the now dot is not on the panel";
        return now.value_or(0) + qRound((minutes - nowMinutes) * 64 / 60.0);
    }

    // ---- the user's hands ----

    // `settleMs`: time for the program to see the event before the next one comes.
    void xdotool(const QStringList& args, int settleMs = 120) const {
        EXPECT_EQ(Session::run(u"xdotool"_s, args).exitCode, 0) << args.join(u' ').toStdString();
        QTest::qWait(settleMs);
    }
    void move(QPoint to) const {
        xdotool({u"mousemove"_s, QString::number(to.x()), QString::number(to.y())});
    }
    void click(QPoint on, int button = 1) const {
        move(on);
        xdotool({u"click"_s, QString::number(button)});
    }
    // Press, glide in steps (as a hand does), release.
    void drag(QPoint from, QPoint to) const {
        move(from);
        xdotool({u"mousedown"_s, u"1"_s});
        for (int i = 1; i <= 6; ++i)
            move(from + (to - from) * i / 6);
        xdotool({u"mouseup"_s, u"1"_s});
    }
    void type(const QString& text) const { xdotool({u"type"_s, u"--delay"_s, u"20"_s, text}); }
    // The keys named, one after the other.
    void key(const QString& names) const {
        for (const QString& name : names.split(u' '))
            xdotool({u"key"_s, name});
    }

    // The panel, opened by a click on the icon in trayer unless it is open already.
    void openPanel() {
        if (!panelOpen() && trayHasIcon())
            click(icon());
        ASSERT_TRUE(waitFor([&] { return panelOpen(); }, 10000)) << "not opened from the icon";
        QTest::qWait(300); // the popup paints right after it maps
        panel = panelWindow();
        header = shot().divider(0);
    }
    // Once the panel has closed, it is opened again from the icon, after the moment in which a
    // click on the icon would count as the closing one's echo.
    void reopen() {
        ASSERT_TRUE(waitFor([&] { return !panelOpen(); }, 3000)) << "the panel did not close";
        QTest::qWait(400);
        ASSERT_NO_FATAL_FAILURE(openPanel());
    }
    // The options menu opened from the header and walked by its keyboard to `item` (dividers
    // are skipped; the first Down reaches the first item), then `keys`.
    void chooseOption(const QString& item, const QString& keys = u"Return"_s) {
        click(at(optionsX, header / 2));
        ASSERT_TRUE(waitFor([&] { return !popups().isEmpty(); }, 5000));
        key(QStringList(optionsItems.indexOf(item) + 1, u"Down"_s).join(u' ') + u' ' + keys);
    }
    // A data file's entries, each as its `fields` joined by spaces, become `want` (the program
    // writes in its own time).
    void expectSaved(const QString& file, const QString& fields, const QStringList& want,
                     int line) const {
        const auto saved = [&] {
            QStringList found;
            for (const QJsonValue& entry : QJsonDocument::fromJson(readData(file)).array()) {
                QStringList values;
                for (const QString& field : fields.split(u' ')) {
                    const QVariant v = entry[field].toVariant();
                    values << (entry[field].isArray() ? v.toStringList().join(u',') : v.toString());
                }
                found << values.join(u' ');
            }
            return found;
        };
        waitFor([&] { return saved() == want; }, 3000);
        EXPECT_EQ(saved(), want) << "at line " << line;
    }
    // The saved blocks' (start, duration).
    void expectSpans(const QList<std::pair<int, int>>& want, int line) const {
        QStringList rows;
        for (const auto& [start, duration] : want)
            rows << u"%1 %2"_s.arg(start).arg(duration);
        expectSaved(u"blocks.json"_s, u"startMinutes durationMinutes"_s, rows, line);
    }
    // The selected block, `minutes` long, lies whole above the editor with its 8-point margins.
    void expectDeepCardAboveEditor(int minutes) const {
        const auto card = [&](const PanelShot& s) {
            return s.rowsWhere(200, s.divider(0) + 1, s.divider(-1), isDeepTint);
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
    void saveEdits() const { click(at(340 - 14 - 36, 560 - 21)); }

    // The header's options button: 14 points in from the right edge, 26 wide.
    static constexpr int optionsX = 340 - 14 - 13;
    static constexpr int addX = optionsX - 32;
    // A backlog row's buttons, 18 wide, 6 apart, 14 in from the right edge.
    static constexpr int deleteX = 340 - 14 - 9;
    static constexpr int pinX = deleteX - 18 - 6;

    FakeTimeProgram program;
    QRect panel;
    int header = 0; // the header's divider

private:
    template <typename T> using Reply = std::unique_ptr<T, decltype([](T* r) { std::free(r); })>;

    xcb_connection_t* m_x = nullptr;
};

} // namespace

// The icon shows at once beside an XEmbed tray with no StatusNotifierWatcher, and the panel
// only when asked; blocks are drawn and saved with Return (in view above the editor, the header
// steady, the day toggles grey), selected, moved and resized with the pointer; a drag cut short
// by the panel closing leaves nothing behind; the add and options menus, the volume popover, the
// icon's own menu; closing by a click outside or on the icon; quitting.
TEST_F(PanelScenario, ATrayIconOpensThePanelWhereBlocksAreDrawnMovedAndResized) {
    ASSERT_NO_FATAL_FAILURE(startTrayer());
    ASSERT_TRUE(program.start(environment(), binary, fakeStart));
    // The session bus has no watcher, but trayer owns the tray selection: there is nothing to
    // wait for, so the icon is there long before the grace of a trayless desktop would end.
    ASSERT_TRUE(waitFor([&] { return trayHasIcon(); }, 5000)) << "no icon in trayer within 5 s";
    EXPECT_FALSE(panelOpen()) << "the panel opened by itself";
    ASSERT_NO_FATAL_FAILURE(openPanel());
    // Beside the icon: under the tray, inside the screen.
    EXPECT_TRUE(QRect(0, 24, 800, 576).contains(panel)) << "the panel is off the screen";
    const int headerWithHint = header;
    ASSERT_GT(header, 0);

    // A drag cut short by Escape closing the panel while the button is down leaves nothing
    // behind: the block drawn next is saved alone.
    move(at(200, minuteY(15 * 60) + 2));
    xdotool({u"mousedown"_s, u"1"_s});
    move(at(200, minuteY(16 * 60) - 2));
    key(u"Escape"_s);
    xdotool({u"mouseup"_s, u"1"_s});
    ASSERT_NO_FATAL_FAILURE(reopen());

    // Draw 1 PM to 2 PM, low on the timeline, and save at once with Return: the next drag
    // draws only itself.
    drag(at(200, minuteY(13 * 60) + 2), at(200, minuteY(14 * 60) - 2));
    EXPECT_NO_FATAL_FAILURE(expectDeepCardAboveEditor(60));
    // No repeat day is chosen: each toggle is a faint disc with a grey letter, none black.
    const PanelShot drawn = shot();
    const QList<QRect> days = drawn.dayToggles(drawn.divider(-1));
    ASSERT_EQ(days.size(), 7) << "no day toggles in the editor";
    for (const QRect& day : days) {
        EXPECT_GT(drawn.darkest(day), 80) << "a day's letter is black";
        EXPECT_LT(drawn.darkest(day), 200) << "a day's letter is missing";
    }
    // The focus is still on the timeline: Return saves from there.
    key(u"Return"_s);
    expectSpans({{13 * 60, 60}}, __LINE__); // the drawn block alone
    // The header keeps its height when the hint gives way to the summary chips.
    EXPECT_EQ(shot().divider(0), headerWithHint);

    // A click selects the block; it is shown whole above the editor.
    click(at(200, minuteY(13 * 60 + 30)));
    ASSERT_NO_FATAL_FAILURE(expectDeepCardAboveEditor(60));
    // Dragged up by an hour, its bottom edge half an hour down, its top edge a quarter down.
    using Step = std::tuple<const char*, int, int, QList<std::pair<int, int>>>;
    const Step steps[] = {
        {"moved", minuteY(13 * 60 + 30), minuteY(12 * 60 + 30), {{12 * 60, 60}}},
        {"bottom edge", minuteY(13 * 60) - 3, minuteY(13 * 60 + 30) - 3, {{12 * 60, 90}}},
        {"top edge", minuteY(12 * 60) + 3, minuteY(12 * 60 + 15) + 3, {{12 * 60 + 15, 75}}},
    };
    for (const auto& [name, from, to, saved] : steps) {
        SCOPED_TRACE(name);
        drag(at(200, from), at(200, to));
        saveEdits();
        expectSpans(saved, __LINE__);
    }

    // By keys alone: Escape closes the panel, which opens again with the keyboard on the day;
    // Tab chooses the block, Down moves it a quarter later, Return saves; Escape lets go of
    // the block, and a second Escape closes the panel.
    key(u"Escape"_s);
    ASSERT_NO_FATAL_FAILURE(reopen());
    key(u"Tab Down Return"_s);
    expectSpans({{12 * 60 + 30, 75}}, __LINE__);
    key(u"Tab Escape"_s);
    QTest::qWait(300);
    EXPECT_TRUE(panelOpen()) << "the first Escape only lets go of the block";
    key(u"Escape"_s);
    ASSERT_NO_FATAL_FAILURE(reopen());

    // "Add Deep Work" drafts the next free hour, 10:30 to 11:30; Return saves it, it runs, and
    // the icon in the tray turns crimson.
    click(at(addX, header / 2));
    ASSERT_TRUE(waitFor([&] { return !popups().isEmpty(); }, 5000));
    key(u"Down Return Return"_s);
    expectSpans({{12 * 60 + 30, 75}, {nowMinutes, 60}}, __LINE__);
    const auto iconShowsDeepWork = [&] {
        const QImage icon = grab(trayRect());
        return std::ranges::any_of(std::views::iota(0, icon.width()),
                                   [&](int x) { return isCrimson(icon.pixelColor(x, 12)); });
    };
    EXPECT_TRUE(waitFor(iconShowsDeepWork, 5000)) << "the tray icon does not show deep work";
    // "Clear Today's Blocks" keeps only the running block.
    ASSERT_NO_FATAL_FAILURE(chooseOption(u"Clear Today's Blocks"_s));
    expectSpans({{nowMinutes, 60}}, __LINE__);

    // The options menu by pointer and keys: Chimes off.
    ASSERT_NO_FATAL_FAILURE(chooseOption(u"Chimes"_s));
    EXPECT_TRUE(waitFor([&] { return setting("chimesEnabled") == false; }, 3000));
    // Deep Work Noise › Volume…: the popover's slider dragged to its loud end.
    ASSERT_NO_FATAL_FAILURE(chooseOption(u"Deep Work Noise"_s, u"Right Down Down Return"_s));
    ASSERT_TRUE(waitFor([&] { return popups().size() == 1; }, 5000));
    const QRect volume = popups().first();
    EXPECT_LT(volume.width(), 340);
    drag(volume.topLeft() + QPoint(38, volume.height() / 2),
         volume.topLeft() + QPoint(volume.width() - 20, volume.height() / 2));
    EXPECT_TRUE(waitFor([&] { return setting("noiseVolume").toDouble() > 0.8; }, 3000));
    key(u"Escape"_s);
    EXPECT_TRUE(waitFor([&] { return popups().isEmpty(); }, 3000));
    EXPECT_TRUE(panelOpen());

    // A click outside closes the panel, so does a click on the icon while it is open; the
    // icon's menu opens it too; Quit ends the program.
    click(QPoint(100, 300));
    ASSERT_NO_FATAL_FAILURE(reopen());
    click(icon());
    EXPECT_TRUE(waitFor([&] { return !panelOpen(); }, 3000));
    QTest::qWait(400); // a second click this soon would be the same click's echo
    // A double click, out of habit, leaves the panel open.
    xdotool({u"click"_s, u"--repeat"_s, u"2"_s, u"--delay"_s, u"90"_s, u"1"_s}, 800);
    EXPECT_TRUE(panelOpen()) << "a double click on the icon did not leave the panel open";
    click(icon());
    EXPECT_TRUE(waitFor([&] { return !panelOpen(); }, 3000));
    QTest::qWait(400);
    click(icon(), 3);
    ASSERT_TRUE(waitFor([&] { return !popups().isEmpty(); }, 5000));
    const QRect iconMenu = popups().first();
    click(QPoint(iconMenu.left() + 30, iconMenu.top() + 12)); // "Open Quillmere"
    ASSERT_TRUE(waitFor([&] { return panelOpen(); }, 5000));
    panel = panelWindow();
    click(at(optionsX, header / 2));
    ASSERT_TRUE(waitFor([&] { return !popups().isEmpty(); }, 5000));
    const QRect menu = popups().first();
    click(QPoint(menu.left() + 40, menu.bottom() - 10)); // "Quit Quillmere", the last item
    ASSERT_TRUE(waitFor([&] { return !program.running(); }, 5000));
    EXPECT_EQ(program.process().exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(program.process().exitCode(), 0);
}

// A second start while the first still waits for a tray opens the panel once an XEmbed tray
// is there (a StatusNotifierItem host: integration_tests' tray scenario). Then the backlog and
// the editor by hand: expanding, a row's kind swatch, hovering, pinning, deleting, adding,
// scheduling; a click on a row or outside the panel while a title is half typed; the wheel
// while the tray is open; the editor's kind buttons, start stepper, a repeat day, a typed title
// and Delete; the noise choice; the statistics window.
TEST_F(PanelScenario, ALateTrayAndTheBacklogAndTheEditorByHand) {
    writeData(u"planned.json"_s, R"([
        {"id": "0A0A0A0A-0000-4000-8000-000000000001", "title": "Alpha", "kind": "deep",
         "createdAt": 750000000},
        {"id": "0A0A0A0A-0000-4000-8000-000000000002", "title": "Beta", "kind": "shallow",
         "createdAt": 750000000}])");
    ASSERT_NO_FATAL_FAILURE(startWaitingForATray(program, binary, fakeStart));
    ASSERT_NO_FATAL_FAILURE(startTrayer());
    // Seen within moments, well before the ten seconds a trayless desktop waits.
    EXPECT_TRUE(waitFor([&] { return trayHasIcon(); }, 3000));
    EXPECT_TRUE(waitFor([&] { return panelOpen(); }, 5000)) << "the waiting request was lost";
    // Opened by a request, the panel holds no pointer grab here: closed from the icon and
    // opened from it, it is as the user opens it.
    click(icon());
    ASSERT_NO_FATAL_FAILURE(reopen());
    const QPoint trayHeader = at(100, header + 17);
    const QPoint plus = at(340 - 14 - 8, header + 17);
    const auto expectTitles = [&](const QStringList& want, int line) {
        expectSaved(u"planned.json"_s, u"title"_s, want, line);
    };
    const auto expectBlocks = [&](const QStringList& want, int line) {
        expectSaved(u"blocks.json"_s, u"title kind"_s, want, line);
    };
    // Rows stack up from the tray's bottom divider.
    const auto rowY = [&](int i, int rows) { return shot().divider(1) - 6 - (rows - i) * 26 + 13; };
    const auto expanded = [&] { return shot().divider(1) - shot().divider(0) > 40; };
    const auto expand = [&] {
        if (!expanded())
            click(trayHeader);
        return waitFor(expanded, 3000);
    };

    // A click on the tray's header expands it, passing through heights in between.
    const auto heightsAfterClick = [&] {
        QSet<int> seen;
        move(trayHeader);
        xdotool({u"click"_s, u"1"_s}, 0);
        for (QDeadlineTimer end(400); !end.hasExpired();)
            seen << shot().divider(1);
        return seen.size();
    };
    EXPECT_GT(heightsAfterClick(), 2) << "expanding did not animate";
    ASSERT_TRUE(waitFor(expanded, 3000));
    // A row's kind swatch switches Alpha to shallow.
    click(at(14 + 7, rowY(0, 2)));
    expectSaved(u"planned.json"_s, u"title kind"_s, {u"Alpha shallow"_s, u"Beta shallow"_s},
                __LINE__);
    click(trayHeader);
    ASSERT_TRUE(waitFor([&] { return !expanded(); }, 3000));

    // The editor: draw 12:00 to 13:00, make it shallow, start it a quarter later, repeat it on
    // Mondays, name it, and save.
    drag(at(200, minuteY(12 * 60) + 2), at(200, minuteY(13 * 60) - 2));
    const int editorTop = shot().divider(-1);
    ASSERT_GT(editorTop, 300) << "no editor";
    click(at(250, editorTop + 50)); // "Shallow Work"
    click(at(322, editorTop + 76)); // the start's up arrow
    const QList<QRect> days = shot().dayToggles(editorTop);
    ASSERT_EQ(days.size(), 7);
    click(at(days[1].center().x(), days[1].center().y())); // M
    click(at(150, editorTop + 20));
    key(u"ctrl+a"_s);
    type(u"Essay"_s);
    key(u"Return"_s);
    expectBlocks({u"Essay shallow"_s}, __LINE__);
    expectSpans({{12 * 60 + 15, 60}}, __LINE__);
    expectSaved(u"rules.json"_s, u"title weekdays"_s, {u"Essay 2"_s}, __LINE__);

    // No noise (brown is the default) from the options menu: Deep Work Noise › Off.
    ASSERT_NO_FATAL_FAILURE(chooseOption(u"Deep Work Noise"_s, u"Right Return"_s));
    EXPECT_TRUE(waitFor([&] { return setting("deepWorkNoise") == u"off"_s; }, 3000));

    // Selected again, the block goes with the editor's Delete.
    click(at(200, minuteY(12 * 60 + 45)));
    ASSERT_TRUE(waitFor([&] { return shot().divider(-1) > 300; }, 3000));
    click(at(20, 560 - 21));
    expectBlocks({}, __LINE__); // the editor's Delete

    // The open tray leaves the wheel to the timeline.
    ASSERT_TRUE(expand());
    const int nowBefore = shot().nowY().value_or(0);
    move(at(200, 400));
    xdotool(u"click --repeat 3 --delay 30 5"_s.split(u' '));
    EXPECT_TRUE(waitFor([&] { return shot().nowY().value_or(0) < nowBefore; }, 2000))
        << "the wheel did not scroll the timeline";

    // Hover fills the row and shows its buttons; pin Beta.
    move(at(150, rowY(1, 2)));
    EXPECT_TRUE(waitFor([&] { return !shot().isBackground(3, rowY(1, 2)); }, 2000))
        << "no hover fill";
    EXPECT_FALSE(shot().isBackground(deleteX, rowY(1, 2))) << "no delete button";
    click(at(pinX, rowY(1, 2)));
    expectSaved(u"planned.json"_s, u"title pinned"_s, {u"Alpha "_s, u"Beta true"_s}, __LINE__);

    // The plus button opens the entry row with the focus in it; Return adds.
    click(plus);
    type(u"Write report"_s);
    key(u"Return"_s);
    expectTitles({u"Alpha"_s, u"Beta"_s, u"Write report"_s}, __LINE__);

    // A click on Beta while the entry row holds a title: the trimmed title is added, Beta's
    // draft opens, and saving it keeps the pinned Beta in the backlog.
    click(plus);
    type(u"  Call Bob "_s);
    click(at(150, rowY(1, 3)));
    expectTitles({u"Alpha"_s, u"Beta"_s, u"Write report"_s, u"Call Bob"_s}, __LINE__);
    EXPECT_TRUE(waitFor([&] { return shot().dividers().size() == 3; }, 2000)) << "no draft opened";
    saveEdits();
    expectBlocks({u"Beta shallow"_s}, __LINE__);
    expectTitles({u"Alpha"_s, u"Beta"_s, u"Write report"_s, u"Call Bob"_s}, __LINE__);

    // Scheduling an unpinned entry and saving its draft takes it off the backlog.
    ASSERT_TRUE(expand());
    click(at(150, rowY(2, 4)));
    key(u"Return"_s);
    expectBlocks({u"Beta shallow"_s, u"Write report deep"_s}, __LINE__);
    expectTitles({u"Alpha"_s, u"Beta"_s, u"Call Bob"_s}, __LINE__);

    // Collapsing animates as expanding did (the tray is still expanded).
    EXPECT_GT(heightsAfterClick(), 2) << "collapsing did not animate";
    EXPECT_FALSE(expanded());

    // A title typed and left by a click outside the panel is kept as the panel closes.
    click(plus);
    type(u"Read paper"_s);
    click(QPoint(100, 300));
    ASSERT_NO_FATAL_FAILURE(reopen());
    expectTitles({u"Alpha"_s, u"Beta"_s, u"Call Bob"_s, u"Read paper"_s}, __LINE__);
    ASSERT_TRUE(expand());

    // Deleting the top row with the pointer: the next row slides under it.
    move(at(150, rowY(0, 4)));
    click(at(deleteX, rowY(0, 4)));
    expectTitles({u"Beta"_s, u"Call Bob"_s, u"Read paper"_s}, __LINE__);
    QTest::qWait(500);
    ASSERT_TRUE(program.running() && trayHasIcon()) << "the deletion ended the program";

    // Statistics… opens its own window.
    ASSERT_NO_FATAL_FAILURE(chooseOption(u"Statistics…"_s));
    EXPECT_TRUE(waitFor([&] { return shows(u"^Quillmere Statistics$"_s); }, 5000));
}
