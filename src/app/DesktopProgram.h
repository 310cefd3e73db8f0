#pragma once

#include <QStringList>

// `vantry` without a command: the desktop program, or a hand-over to the one already running.
namespace DesktopProgram {

// Whether `arguments` (without the program name) start the desktop program: none, --activate,
// --background, or paths of files to open.
bool handles(const QStringList &arguments);

int run(int &argc, char **argv);

} // namespace DesktopProgram
