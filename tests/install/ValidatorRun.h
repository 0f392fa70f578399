#pragma once

#include <QProcess>
#include <QStandardPaths>
#include <QString>
#include <QStringList>

namespace quillmere::test {

// One run of a command-line tool: whether it ended with status 0, and what it said (or that
// it is missing).
struct ToolRun {
    bool ok = false;
    QString output;
};

inline ToolRun runTool(const QString& program, const QStringList& arguments,
                       const QProcessEnvironment& env = QProcessEnvironment::systemEnvironment()) {
    if (QStandardPaths::findExecutable(program).isEmpty() && !program.startsWith(u'/'))
        return {false, program + QStringLiteral(" comes with scripts/install-deps test")};
    QProcess p;
    p.setProcessEnvironment(env);
    p.setProcessChannelMode(QProcess::MergedChannels);
    p.start(program, arguments);
    p.waitForFinished(120000);
    return {p.exitStatus() == QProcess::NormalExit && p.exitCode() == 0,
            QString::fromUtf8(p.readAll())};
}

} // namespace quillmere::test
