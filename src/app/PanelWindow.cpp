#include "app/PanelWindow.h"

#include <QGuiApplication>
#include <QMouseEvent>
#include <QScreen>
#include <QStyleHints>
#include <QVBoxLayout>

namespace quillmere {

namespace {
// Longer than the press-to-activation round trip through the tray host, shorter than a
// deliberate second click.
constexpr qint64 reopenGuardMs = 300;
} // namespace

PanelWindow::PanelWindow(Style style, ContentFactory factory, QWidget* parent)
    : QWidget(parent, style == Style::popup ? Qt::Popup | Qt::FramelessWindowHint : Qt::Window),
      m_style(style), m_factory(std::move(factory)) {
    setWindowTitle(QStringLiteral("Quillmere"));
    setFixedSize(panelSize);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
}

void PanelWindow::ensureContent() {
    if (m_content || !m_factory)
        return;
    m_content = m_factory(this);
    layout()->addWidget(m_content);
}

void PanelWindow::open(const PanelAnchor& anchor) {
    ensureContent();
    if (m_style == Style::popup) {
        QScreen* screen = QGuiApplication::primaryScreen();
        if (anchor.iconGeometry)
            screen = QGuiApplication::screenAt(anchor.iconGeometry->center());
        else if (anchor.pointer)
            screen = QGuiApplication::screenAt(*anchor.pointer);
        if (!screen)
            screen = QGuiApplication::primaryScreen();
        if (screen)
            move(panelPosition(size(), anchor, screen->geometry(), screen->availableGeometry()));
    }
    show();
    raise();
    activateWindow();
}

void PanelWindow::toggle(const PanelAnchor& anchor) {
    if (isVisible()) {
        if (!withinDoubleClickOfToggling())
            hide();
        return;
    }
    if (m_style == Style::popup && m_sinceHidden.isValid() &&
        m_sinceHidden.elapsed() < reopenGuardMs)
        return;
    open(anchor);
    m_sinceToggledOpen.start();
}

bool PanelWindow::withinDoubleClickOfToggling() const {
    return m_style == Style::popup && m_sinceToggledOpen.isValid() &&
           m_sinceToggledOpen.elapsed() < QGuiApplication::styleHints()->mouseDoubleClickInterval();
}

// A press outside the popup closes it (QWidget's default), except the second press of a double
// click on the icon: a host that reports only the first press as an activation lets the second
// one reach the popup as a click outside.
void PanelWindow::mousePressEvent(QMouseEvent* event) {
    if (withinDoubleClickOfToggling() && !rect().contains(event->position().toPoint())) {
        event->accept();
        return;
    }
    QWidget::mousePressEvent(event);
}

void PanelWindow::hideEvent(QHideEvent* event) {
    m_sinceHidden.start();
    m_sinceToggledOpen.invalidate();
    QWidget::hideEvent(event);
}

} // namespace quillmere
