#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

// What a finished child process left behind. A process that did not finish in time has status -1.
struct ProcessResult {
    int status = -1;
    QByteArray out;
    QByteArray err;
};

ProcessResult runProcess(const QString &program, const QStringList &arguments, const QByteArray &input = {});

// The built `vantry` program, and a run of it.
QString vantryProgram();
ProcessResult runVantry(const QStringList &arguments, const QByteArray &input = {});
