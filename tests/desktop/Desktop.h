#pragma once

#include "support/NotificationSession.h"

#include <QColor>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRect>
#include <QTest>

#include <xcb/xcb.h>

#include <cstdlib>
#include <functional>
#include <memory>
#include <optional>

namespace quillmere::test {

inline bool waitFor(const std::function<bool()>& condition, int timeoutMs) {
    return QTest::qWaitFor(condition, timeoutMs);
}

// One desktop for one scenario: the shared session (an 800 × 600 X server and a private bus,
// no notification daemon), optionally an XEmbed tray (trayer), the real program on the
// session's data folder under a faked wall clock, and the user's pointer and keyboard through
// XTest (xdotool).
class Desktop : public NotificationSession {
public:
    static constexpr QSize panelSize{340, 560};

    Desktop() {
        start(false);
        m_x = xcb_connect(display().toLocal8Bit().constData(), nullptr);
    }
    ~Desktop() {
        m_program.terminate();
        xcb_disconnect(m_x);
    }

    QJsonObject readObject(const QString& name) const {
        return QJsonDocument::fromJson(readData(name)).object();
    }
    QJsonArray readList(const QString& name) const {
        return QJsonDocument::fromJson(readData(name)).array();
    }

    // Debian's trayer on the top edge, on the right; it grows by one 24-pixel slot per
    // embedded icon.
    void startTrayer() {
        spawn(u"trayer"_s, u"--edge top --align right --widthtype request --height 24 "
                           "--transparent false --SetDockType false --expand false"_s.split(u' '));
        ASSERT_TRUE(waitFor([&] { return trayRect().has_value(); }, 10000))
            << "trayer never showed its panel";
    }

    // The program at `fakeStart` ("@2024-03-04 10:30:00"): the clock runs on from there.
    // QUILLMERE_DESKTOP_BINARY runs the scenarios against another build of the program.
    void startProgram(const QString& fakeStart, FakeTimeProgram& program) {
        const QString binary =
            qEnvironmentVariable("QUILLMERE_DESKTOP_BINARY", QStringLiteral(QUILLMERE_BINARY));
        ASSERT_TRUE(program.start(environment(), binary, fakeStart));
    }
    void startProgram(const QString& fakeStart) { startProgram(fakeStart, m_program); }
    FakeTimeProgram& program() { return m_program; }

    // ---- what is on the screen ----

    // Mapped top-level windows, bottom to top.
    QList<QRect> windows() const {
        QList<QRect> found;
        const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(m_x)).data;
        Reply<xcb_query_tree_reply_t> tree(
            xcb_query_tree_reply(m_x, xcb_query_tree(m_x, screen->root), nullptr));
        if (!tree)
            return found;
        const xcb_window_t* children = xcb_query_tree_children(tree.get());
        for (int i = 0; i < xcb_query_tree_children_length(tree.get()); ++i) {
            Reply<xcb_get_window_attributes_reply_t> attrs(xcb_get_window_attributes_reply(
                m_x, xcb_get_window_attributes(m_x, children[i]), nullptr));
            Reply<xcb_get_geometry_reply_t> geo(
                xcb_get_geometry_reply(m_x, xcb_get_geometry(m_x, children[i]), nullptr));
            if (attrs && geo && attrs->map_state == XCB_MAP_STATE_VIEWABLE)
                found << QRect(geo->x, geo->y, geo->width, geo->height);
        }
        return found;
    }
    std::optional<QRect> panel() const {
        for (const QRect& w : windows())
            if (w.size() == panelSize)
                return w;
        return std::nullopt;
    }
    // trayer's panel: the top-level window on the top edge 24 pixels high.
    std::optional<QRect> trayRect() const {
        for (const QRect& w : windows())
            if (w.top() == 0 && w.height() == 24 && w.right() == 799)
                return w;
        return std::nullopt;
    }
    // trayer is 2 pixels wide while empty and grows by a 24-pixel slot per icon.
    bool trayHasIcon() const {
        const std::optional<QRect> tray = trayRect();
        return tray && tray->width() >= 24;
    }
    // Top-level windows that are neither the panel nor trayer's (menus, popovers, tooltips).
    QList<QRect> popups() const {
        QList<QRect> found;
        for (const QRect& w : windows())
            if (w.size() != panelSize && w != trayRect() && w.width() > 4 && w.height() > 4 &&
                w != QRect(0, 0, 800, 600))
                found << w;
        return found;
    }

    QImage grab(const QRect& area = QRect(0, 0, 800, 600)) const {
        const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(m_x)).data;
        Reply<xcb_get_image_reply_t> image(xcb_get_image_reply(
            m_x,
            xcb_get_image(m_x, XCB_IMAGE_FORMAT_Z_PIXMAP, screen->root,
                          static_cast<int16_t>(area.x()), static_cast<int16_t>(area.y()),
                          static_cast<uint16_t>(area.width()), static_cast<uint16_t>(area.height()),
                          ~0u),
            nullptr));
        if (!image)
            return {};
        // Xvfb's 24-bit visual keeps pixels in 32 bits, blue first: Qt's RGB32 on little endian.
        const QImage view(xcb_get_image_data(image.get()), area.width(), area.height(),
                          area.width() * 4, QImage::Format_RGB32);
        return view.copy();
    }

    // ---- the user's hands ----

    // `settleMs`: time for the program to see the event before the next one comes.
    void xdotool(const QStringList& args, int settleMs = 120) const {
        EXPECT_EQ(Session::run(u"xdotool"_s, args).exitCode, 0) << args.join(u' ').toStdString();
        QTest::qWait(settleMs);
    }
    void move(QPoint at) const {
        xdotool({u"mousemove"_s, QString::number(at.x()), QString::number(at.y())});
    }
    void click(QPoint at, int button = 1) const {
        move(at);
        xdotool({u"click"_s, QString::number(button)});
    }
    // Press, glide in steps (as a hand does), release.
    void drag(QPoint from, QPoint to) const {
        move(from);
        xdotool({u"mousedown"_s, u"1"_s});
        constexpr int steps = 6;
        for (int i = 1; i <= steps; ++i)
            move(from + (to - from) * i / steps);
        xdotool({u"mouseup"_s, u"1"_s});
    }
    void type(const QString& text) const { xdotool({u"type"_s, u"--delay"_s, u"20"_s, text}); }
    void key(const QString& name) const { xdotool({u"key"_s, name}); }
    void wheel(QPoint at, int button, int times) const {
        move(at);
        xdotool({u"click"_s, u"--repeat"_s, QString::number(times), u"--delay"_s, u"30"_s,
                 QString::number(button)});
    }

    // The panel, opened by a click on the icon in trayer unless it is open already.
    std::optional<QRect> openFromTray() const {
        if (!panel() && trayHasIcon())
            click(QPoint(trayRect()->right() - 12, 12));
        waitFor([&] { return panel().has_value(); }, 10000);
        // The popup paints right after it maps.
        QTest::qWait(300);
        return panel();
    }

private:
    struct FreeReply {
        void operator()(void* reply) const { std::free(reply); }
    };
    template <typename T> using Reply = std::unique_ptr<T, FreeReply>;

    xcb_connection_t* m_x = nullptr;
    FakeTimeProgram m_program;
};

// A grab of the open panel, read the way the layout predicts: full-width dividers between the
// header, the backlog tray, the timeline and the editor; the timeline's red now dot; the tint of
// a block card. Positions are panel coordinates.
class PanelShot {
public:
    // The now dot sits left of the cards, centred on x = label width + 3 + half the dot.
    static constexpr int nowDotX = 54;
    static constexpr qreal hourHeight = 64;

    explicit PanelShot(QImage image) : m_image(std::move(image)) {}

    const QImage& image() const { return m_image; }
    QColor at(int x, int y) const { return m_image.pixelColor(x, y); }
    QColor background() const { return at(3, 3); }

    bool differs(QColor a, QColor b, int tolerance = 6) const {
        return std::abs(a.red() - b.red()) + std::abs(a.green() - b.green()) +
                   std::abs(a.blue() - b.blue()) >
               tolerance;
    }
    bool isBackground(int x, int y) const { return !differs(at(x, y), background()); }

    // Rows holding a one-pixel line across the whole width.
    QList<int> dividers() const {
        QList<int> rows;
        for (int y = 1; y + 1 < m_image.height(); ++y) {
            if (isBackground(3, y) || !isBackground(3, y - 1) || !isBackground(3, y + 1))
                continue;
            if (!differs(at(3, y), at(m_image.width() / 2, y)) &&
                !differs(at(3, y), at(m_image.width() - 20, y)))
                rows << y;
        }
        return rows;
    }
    // The index-th divider from the top (from the bottom when negative), or 0.
    int divider(qsizetype index) const {
        const QList<int> rows = dividers();
        return rows.value(index < 0 ? rows.size() + index : index, 0);
    }

    // The now line's orange-leaning red, told apart from the crimson of deep work (whose blue
    // outweighs its green) that fills the editor's chosen kind.
    static bool isNowRed(QColor c) {
        return c.red() > 200 && c.green() < 140 && c.blue() < 140 && c.green() >= c.blue();
    }
    // The centre row of the now dot.
    std::optional<int> nowY() const {
        const QList<int> rows = rowsWhere(nowDotX, 0, m_image.height(), isNowRed);
        if (rows.isEmpty())
            return std::nullopt;
        return (rows.first() + rows.last()) / 2;
    }
    // Where a minute of today is, counted from the now dot at `nowMinutes`.
    std::optional<int> minuteY(int minutes, int nowMinutes) const {
        const std::optional<int> now = nowY();
        if (!now)
            return std::nullopt;
        return *now + qRound((minutes - nowMinutes) * hourHeight / 60.0);
    }

    // A card's fill: the kind's colour laid thinly over the panel.
    static bool isDeepTint(QColor c) {
        return c.red() - c.green() > 30 && c.red() - c.blue() > 15 && !isNowRed(c);
    }
    // The rows of column x between top and bottom (exclusive) that a predicate accepts.
    template <typename Pred> QList<int> rowsWhere(int x, int top, int bottom, Pred pred) const {
        QList<int> rows;
        for (int y = std::max(top, 0); y < std::min(bottom, m_image.height()); ++y)
            if (pred(at(x, y)))
                rows << y;
        return rows;
    }

    // The editor's seven day toggles: the boxes around the rows below `top` where seven discs
    // of 14 to 20 pixels stand side by side in the right half of the panel.
    QList<QRect> dayToggles(int top) const {
        QList<QRect> boxes;
        for (int y = top; y < m_image.height(); ++y) {
            QList<QRect> row;
            for (int x = m_image.width() / 2, start = -1; x < m_image.width() - 2; ++x) {
                const bool ink = !isBackground(x, y);
                if (ink && start < 0)
                    start = x;
                if (!ink && start >= 0) {
                    row << QRect(start, y, x - start, 1);
                    start = -1;
                }
            }
            const auto disc = [](const QRect& r) { return r.width() >= 14 && r.width() <= 20; };
            if (row.size() != 7 || !std::all_of(row.begin(), row.end(), disc))
                continue;
            if (boxes.isEmpty())
                boxes = row;
            for (qsizetype i = 0; i < 7; ++i)
                boxes[i] |= row[i];
        }
        return boxes;
    }
    // The darkest grey level inside a box.
    int darkest(const QRect& box) const {
        int level = 255;
        for (int y = box.top(); y <= box.bottom(); ++y)
            for (int x = box.left(); x <= box.right(); ++x)
                level = std::min(level, qGray(m_image.pixel(x, y)));
        return level;
    }

private:
    QImage m_image;
};

} // namespace quillmere::test
