#pragma once

#include <QStringList>

// The `vantry` command: dispatches a subcommand and returns the process exit status.
namespace CommandLine {

int run(const QStringList &arguments);

// Whether `argument`, the first on the command line, names a subcommand or an option of this command.
bool isCommand(const QString &argument);

} // namespace CommandLine
