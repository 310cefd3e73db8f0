#include "ProcessResult.h"

#include <QProcess>

ProcessResult runProcess(const QString &program, const QStringList &arguments, const QByteArray &input)
{
    QProcess process;
    process.start(program, arguments);
    process.write(input);
    process.closeWriteChannel();
    if (!process.waitForFinished(60000) || process.exitStatus() != QProcess::NormalExit)
        return {-1, process.readAllStandardOutput(), process.readAllStandardError()};
    return {process.exitCode(), process.readAllStandardOutput(), process.readAllStandardError()};
}

QString vantryProgram()
{
    return QStringLiteral(VANTRY_BINARY);
}

ProcessResult runVantry(const QStringList &arguments, const QByteArray &input)
{
    return runProcess(vantryProgram(), arguments, input);
}
