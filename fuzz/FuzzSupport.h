#pragma once

#include "model/JsonCodec.h"

#include <QCoreApplication>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace quillmere::fuzz {

inline QByteArray bytes(const uint8_t* data, size_t size) {
    return QByteArray(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
}

inline void require(bool condition, const char* what) {
    if (!condition) {
        std::fprintf(stderr, "invariant broken: %s\n", what);
        std::abort();
    }
}

// Whatever decodes must encode to a file that decodes to the same value: the program rewrites
// these files from memory, and a value that changed on the way would be data lost.
template <typename T> void roundTrip(const uint8_t* data, size_t size) {
    const auto items = json::decodeList<T>(bytes(data, size));
    if (!items)
        return;
    const auto again = json::decodeList<T>(json::encodeList(*items));
    require(again && *again == *items, "list does not survive a round trip");
}

inline void ensureApplication() {
    static int argc = 1;
    static char name[] = "fuzz";
    static char* argv[] = {name, nullptr};
    static QCoreApplication* app =
        QCoreApplication::instance() ? nullptr : new QCoreApplication(argc, argv);
    (void)app;
}

} // namespace quillmere::fuzz
