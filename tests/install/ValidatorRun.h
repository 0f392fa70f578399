#pragma once

#include <QProcess>
#include <QStandardPaths>
#include <QString>
#include <QStringList>

namespace quillmere::test {

// One run of a command-line tool: whether it was there and ended with status 0, and what it said.
struct ToolRun {
    bool found = false;
    bool ok = false;
    QString output;
};

inline ToolRun runTool(const QString& program, const QStringList& arguments,
                       const QProcessEnvironment& env = QProcessEnvironment::systemEnvironment()) {
    ToolRun run;
    run.found = !QStandardPaths::findExecutable(program).isEmpty() || program.startsWith(u'/');
    if (!run.found)
        return run;
    QProcess p;
    p.setProcessEnvironment(env);
    p.setProcessChannelMode(QProcess::MergedChannels);
    p.start(program, arguments);
    p.waitForFinished(120000);
    run.output = QString::fromUtf8(p.readAll());
    run.ok = p.exitStatus() == QProcess::NormalExit && p.exitCode() == 0;
    return run;
}

} // namespace quillmere::test
