// The baseline for the shell's figures: a bare Qt program that shows a tray icon and quits
// (or, with --stay, stays idle so its memory can be read).
#include <QApplication>
#include <QPainter>
#include <QPixmap>
#include <QSystemTrayIcon>
#include <QTimer>

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    QPixmap pixmap(22, 22);
    pixmap.fill(Qt::transparent);
    {
        QPainter p(&pixmap);
        p.setRenderHint(QPainter::Antialiasing);
        p.setBrush(Qt::red);
        p.drawRoundedRect(QRectF(1, 6, 20, 10), 4, 4);
    }
    QSystemTrayIcon tray{QIcon(pixmap)};
    tray.show();
    if (!app.arguments().contains(QStringLiteral("--stay")))
        QTimer::singleShot(0, &app, &QCoreApplication::quit);
    return app.exec();
}
