#include "app/TrayShell.h"

#include <QAction>
#include <QCoreApplication>
#include <QCursor>
#include <QEvent>
#include <QGuiApplication>
#include <QMenu>
#include <QSystemTrayIcon>

namespace quillmere {

TrayShell::TrayShell(QObject* parent) : QObject(parent) {
    QCoreApplication::instance()->installEventFilter(this);
}

TrayShell::~TrayShell() {
    delete m_menu;
}

void TrayShell::showIcon() {
    if (m_tray)
        return;
    m_menu = new QMenu;
    QAction* open = m_menu->addAction(QStringLiteral("Open Quillmere"));
    m_menu->addSeparator();
    QAction* quit = m_menu->addAction(QStringLiteral("Quit Quillmere"));
    connect(open, &QAction::triggered, this, [this] { Q_EMIT openPanelRequested(anchorNow()); });
    connect(quit, &QAction::triggered, this, [] { QCoreApplication::quit(); });

    m_tray = new QSystemTrayIcon(StatusIcon::icon(m_image), this);
    m_tray->setContextMenu(m_menu);
    if (m_toolTip)
        m_tray->setToolTip(*m_toolTip);
    connect(m_tray, &QSystemTrayIcon::activated, this,
            [this](QSystemTrayIcon::ActivationReason reason) {
                if (reason == QSystemTrayIcon::Trigger || reason == QSystemTrayIcon::DoubleClick ||
                    reason == QSystemTrayIcon::MiddleClick)
                    Q_EMIT togglePanelRequested(anchorNow());
            });
    m_tray->show();
}

void TrayShell::setCurrentKind(std::optional<WorkKind> kind) {
    const StatusIcon::Image image = StatusIcon::imageFor(kind);
    if (image == m_image)
        return;
    m_image = image;
    if (m_tray)
        m_tray->setIcon(StatusIcon::icon(m_image));
}

void TrayShell::setToolTip(const std::optional<QString>& text) {
    if (text == m_toolTip)
        return;
    m_toolTip = text;
    if (m_tray)
        m_tray->setToolTip(text.value_or(QString()));
}

std::optional<QRect> TrayShell::iconGeometry() const {
    if (!m_tray)
        return std::nullopt;
    const QRect g = m_tray->geometry();
    if (g.isEmpty())
        return std::nullopt;
    return g;
}

PanelAnchor TrayShell::anchorNow() const {
    PanelAnchor anchor;
    anchor.iconGeometry = iconGeometry();
    // Only X11 tells where the pointer is; elsewhere the position would be stale or invented.
    if (QGuiApplication::platformName() == u"xcb")
        anchor.pointer = QCursor::pos();
    return anchor;
}

bool TrayShell::eventFilter(QObject* watched, QEvent* event) {
    // The tray keeps the pixmaps it was given, so a new palette needs the outline sent again.
    if (watched == QCoreApplication::instance() &&
        event->type() == QEvent::ApplicationPaletteChange && m_tray)
        m_tray->setIcon(StatusIcon::icon(m_image));
    return QObject::eventFilter(watched, event);
}

} // namespace quillmere
