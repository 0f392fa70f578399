#pragma once

#include <QEvent>
#include <QObject>
#include <QWidget>

#include <functional>
#include <utility>

namespace quillmere::ui {

// Runs `apply` now and again whenever `widget`'s palette changes (the desktop switching
// between light and dark), for colours a widget holds rather than paints: an icon's pixmap,
// the colours inside rich text. `apply` must not set the widget's palette itself.
inline void followPalette(QWidget* widget, std::function<void()> apply) {
    class Follower final : public QObject {
    public:
        Follower(QWidget* watched, std::function<void()> apply)
            : QObject(watched), m_apply(std::move(apply)) {
            watched->installEventFilter(this);
            m_apply();
        }

    protected:
        bool eventFilter(QObject*, QEvent* event) override {
            if (event->type() == QEvent::PaletteChange)
                m_apply();
            return false;
        }

    private:
        std::function<void()> m_apply;
    };
    new Follower(widget, std::move(apply));
}

} // namespace quillmere::ui
