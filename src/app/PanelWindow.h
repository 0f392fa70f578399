#pragma once

#include "app/PanelPlacement.h"

#include <QElapsedTimer>
#include <QWidget>

#include <functional>

namespace quillmere {

// The window that holds the panel's content. With a tray it is a frameless popup that a click
// outside closes; without one it is an ordinary fixed-size window whose closing ends the
// program. The content is made the first time the panel opens.
class PanelWindow final : public QWidget {
    Q_OBJECT

public:
    enum class Style { popup, window };
    using ContentFactory = std::function<QWidget*(QWidget* parent)>;

    static constexpr QSize panelSize{340, 560};

    PanelWindow(Style style, ContentFactory factory, QWidget* parent = nullptr);

    Style style() const { return m_style; }
    QWidget* content() const { return m_content; }

    void open(const PanelAnchor& anchor);
    // Opens a closed panel and closes an open one. A click on the tray icon while the popup is
    // up first closes the popup (it is a click outside) and only then activates the icon; that
    // activation must not open it again. Nor does the second click of a double click on the
    // icon close the popup the first one opened.
    void toggle(const PanelAnchor& anchor);

protected:
    void hideEvent(QHideEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;

private:
    void ensureContent();

    Style m_style;
    ContentFactory m_factory;
    QWidget* m_content = nullptr;
    bool withinDoubleClickOfToggling() const;

    QElapsedTimer m_sinceHidden;
    QElapsedTimer m_sinceToggledOpen; // invalid while hidden
};

} // namespace quillmere
