#pragma once

#include <QByteArray>
#include <QElapsedTimer>
#include <QProcess>

namespace quillmere::test {

// The first line a started helper prints (Xvfb's display, dbus-daemon's address), or nothing
// when it does not start or says nothing within ten seconds.
inline QByteArray firstLine(QProcess& p) {
    if (!p.waitForStarted(5000))
        return {};
    QElapsedTimer clock;
    clock.start();
    while (!p.canReadLine() && clock.elapsed() < 10000)
        p.waitForReadyRead(200);
    return p.readLine().trimmed();
}

} // namespace quillmere::test
