#pragma once

#include <QString>

namespace Log {

// One diagnostic line: to stderr, and to the system log when stderr is not a terminal.
void line(const QString &text);

} // namespace Log
