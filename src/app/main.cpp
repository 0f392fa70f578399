#include "app/CommandClient.h"
#include "app/CommandLine.h"
#include "app/QuillmereApp.h"
#include "app/QuitSignals.h"
#include "app/SingleInstance.h"
#include "desktop/ApplicationId.h"
#include "desktop/DBusService.h"
#include "desktop/StartAtLogin.h"
#include "store/BlockStore.h"
#include "ui/ColorScheme.h"

#include <QApplication>
#include <QDBusConnection>

#include <cstdio>

namespace {

// On a Wayland desktop the panel and the cards could not be placed by the program; under
// XWayland they can, and the tray works either way. A choice the user made is kept.
void preferXWayland() {
    if (qEnvironmentVariableIsSet("DISPLAY") && !qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "xcb");
}

void nameApplication() {
    QCoreApplication::setApplicationName(QStringLiteral("Quillmere"));
    QCoreApplication::setApplicationVersion(QStringLiteral(QUILLMERE_VERSION));
}

// Any argument makes this a command for the running program: no display, no data file opened
// for writing, and a one-line reason with status 2 for input it cannot take.
int commandLineMain(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    nameApplication();
    const auto parsed = quillmere::parseCommandLine(QCoreApplication::arguments().mid(1));
    if (const auto* error = std::get_if<quillmere::UsageError>(&parsed)) {
        std::fprintf(stderr, "quillmere: %s\n", error->message.toLocal8Bit().constData());
        return quillmere::exitBadInput;
    }
    return quillmere::runCommand(std::get<quillmere::Command>(parsed));
}

} // namespace

int main(int argc, char** argv) {
    if (argc > 1)
        return commandLineMain(argc, argv);

    preferXWayland();
    QApplication app(argc, argv);
    nameApplication();
    QApplication::setDesktopFileName(quillmere::applicationId);
    QApplication::setQuitOnLastWindowClosed(false);

    // The lock decides who runs, with or without a session bus; the handover goes over the bus
    // when there is one and over the lock's socket otherwise.
    quillmere::SingleInstance instance;
    if (!instance.tryBecomePrimary())
        return quillmere::askRunningToOpen() || instance.askPrimaryToOpen() ? 0 : 1;

    quillmere::QuitSignals quitSignals;
    // Light or dark as the desktop prefers, switching live; in place before the first window.
    quillmere::ui::ColorSchemeFollower scheme(QDBusConnection::sessionBus());
    quillmere::SystemWallClock wallClock;
    quillmere::QuillmereApp quillmere(wallClock);
    QObject::connect(&instance, &quillmere::SingleInstance::openRequested, &quillmere,
                     [&quillmere] { quillmere.openPanel(); });
    quillmere.start();
    quillmere::StartAtLogin(quillmere.store().folder()).applyFirstStart();

    quillmere::DBusService service(quillmere.store());
    QObject::connect(&service, &quillmere::DBusService::openPanelRequested, &quillmere,
                     [&quillmere] { quillmere.openPanel(); });
    QObject::connect(&service, &quillmere::DBusService::closePanelRequested, &quillmere,
                     [&quillmere] { quillmere.closePanel(); });
    QObject::connect(&service, &quillmere::DBusService::quitRequested, &app,
                     &QCoreApplication::quit);
    service.publish(QDBusConnection::sessionBus());
    return app.exec();
}
