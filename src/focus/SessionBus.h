#pragma once

#include <QByteArray>

namespace quillmere {

// The session bus's address, found as the bus libraries find it: DBUS_SESSION_BUS_ADDRESS,
// else the socket a user session manager keeps at $XDG_RUNTIME_DIR/bus. Empty when neither
// exists. Safe to call from any thread.
QByteArray sessionBusAddress();

} // namespace quillmere
