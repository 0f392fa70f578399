#pragma once

#include "support/Session.h"

#include <gtest/gtest.h>

namespace quillmere::test {

// The session for tests: a piece that does not start fails the test (rather than skipping it),
// and so does a client that fails.
class NotificationSession : public Session {
public:
    void start(bool withNotificationDaemon = true) {
        const QString failed = Session::start(withNotificationDaemon);
        ASSERT_TRUE(failed.isEmpty()) << failed.toStdString();
    }
    // Runs a client to its end and returns what it printed.
    QByteArray run(const QString& program, const QStringList& args) const {
        const Outcome o = Session::run(program, args);
        EXPECT_EQ(o.exitCode, 0) << program.toStdString() << ": " << o.err.toStdString();
        return o.out.trimmed();
    }
    // While there is no tray of either kind the program waits, showing nothing, and so does a
    // second start's request for the panel, which it hands over before it leaves.
    void startWaitingForATray(FakeTimeProgram& program, const QString& binary,
                              const QString& fakeStart) {
        ASSERT_TRUE(program.start(environment(), binary, fakeStart));
        QTest::qWait(1500);
        ASSERT_TRUE(program.running());
        EXPECT_FALSE(shows(u"^Quillmere$"_s));
        FakeTimeProgram second;
        ASSERT_TRUE(second.start(environment(), binary, fakeStart) &&
                    second.process().waitForFinished(10000));
        EXPECT_EQ(second.process().exitCode(), 0);
        EXPECT_FALSE(shows(u"^Quillmere$"_s));
    }
};

} // namespace quillmere::test
