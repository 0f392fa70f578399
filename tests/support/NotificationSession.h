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
};

} // namespace quillmere::test
