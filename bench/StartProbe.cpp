// Starts Quillmere exactly as main() does, on the data folder given, and quits as soon as the
// first refresh has run (or, with --stay, stays idle so its memory can be read).
#include "app/QuillmereApp.h"

#include <QApplication>
#include <QTimer>

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Quillmere"));
    QApplication::setQuitOnLastWindowClosed(false);
    const QStringList args = app.arguments();
    if (args.size() < 2)
        return 2;
    quillmere::SystemWallClock wallClock;
    quillmere::QuillmereApp quillmere(wallClock, args[1]);
    quillmere.start();
    // The store's first tick is already queued; this runs after it.
    if (!args.contains(QStringLiteral("--stay")))
        QTimer::singleShot(0, &app, &QCoreApplication::quit);
    return app.exec();
}
