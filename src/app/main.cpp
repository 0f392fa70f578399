#include "app/QuillmereApp.h"
#include "app/QuitSignals.h"
#include "app/SingleInstance.h"
#include "desktop/ApplicationId.h"
#include "desktop/StartAtLogin.h"
#include "store/BlockStore.h"

#include <QApplication>

namespace {

// On a Wayland desktop the panel and the cards could not be placed by the program; under
// XWayland they can, and the tray works either way. A choice the user made is kept.
void preferXWayland() {
    if (qEnvironmentVariableIsSet("DISPLAY") && !qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "xcb");
}

} // namespace

int main(int argc, char** argv) {
    preferXWayland();
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Quillmere"));
    QApplication::setDesktopFileName(quillmere::applicationId);
    QApplication::setQuitOnLastWindowClosed(false);

    quillmere::SingleInstance instance;
    if (!instance.tryBecomePrimary())
        return instance.askPrimaryToOpen() ? 0 : 1;

    quillmere::QuitSignals quitSignals;
    quillmere::SystemWallClock wallClock;
    quillmere::QuillmereApp quillmere(wallClock);
    QObject::connect(&instance, &quillmere::SingleInstance::openRequested, &quillmere,
                     [&quillmere] { quillmere.openPanel(); });
    quillmere.start();
    quillmere::StartAtLogin(quillmere.store().folder()).applyFirstStart();
    return app.exec();
}
