#pragma once

#include <QStringList>

// The `vantry` command: dispatches a subcommand and returns the process exit status.
namespace CommandLine {

int run(const QStringList &arguments);

} // namespace CommandLine
