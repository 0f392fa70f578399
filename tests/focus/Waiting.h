#pragma once

#include <QElapsedTimer>
#include <QTest>

#include <functional>

namespace quillmere::test {

// Runs the event loop until the condition holds; false if the time ran out first.
inline bool waitFor(const std::function<bool()>& condition, int timeoutMs) {
    QElapsedTimer clock;
    clock.start();
    while (!condition()) {
        if (clock.elapsed() > timeoutMs)
            return false;
        QTest::qWait(10);
    }
    return true;
}

} // namespace quillmere::test
