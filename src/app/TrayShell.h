#pragma once

#include "app/PanelPlacement.h"
#include "app/StatusIcon.h"
#include "model/WorkKind.h"

#include <QObject>
#include <QPointer>
#include <QString>

#include <optional>

class QMenu;
class QSystemTrayIcon;

namespace quillmere {

// The program's one presence on the desktop: the tray icon showing the work under way, its
// tooltip, and its menu. Activating the icon toggles the panel.
class TrayShell final : public QObject {
    Q_OBJECT

public:
    explicit TrayShell(QObject* parent = nullptr);
    ~TrayShell() override;

    // Creates and shows the icon; until then the image and tooltip are only remembered.
    void showIcon();
    bool hasIcon() const { return m_tray != nullptr; }

    void setCurrentKind(std::optional<WorkKind> kind);
    StatusIcon::Image image() const { return m_image; }

    // Changes the tooltip only when the text differs, so repeated refreshes with the same
    // current block never reset it (which would make an open tooltip flicker).
    void setToolTip(const std::optional<QString>& text);
    std::optional<QString> toolTip() const { return m_toolTip; }

    // Where the icon is, when the tray tells (XEmbed does, StatusNotifierItem does not).
    std::optional<QRect> iconGeometry() const;

Q_SIGNALS:
    void togglePanelRequested(const quillmere::PanelAnchor& anchor);
    void openPanelRequested(const quillmere::PanelAnchor& anchor);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    PanelAnchor anchorNow() const;

    QSystemTrayIcon* m_tray = nullptr;
    QMenu* m_menu = nullptr;
    StatusIcon::Image m_image = StatusIcon::Image::idle;
    std::optional<QString> m_toolTip;
};

} // namespace quillmere
