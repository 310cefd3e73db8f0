#include "Log.h"

#include <cstdio>
#include <mutex>
#include <syslog.h>
#include <unistd.h>

namespace Log {

void line(const QString &text)
{
    static std::once_flag opened;
    static bool toSystemLog = !isatty(STDERR_FILENO);
    std::call_once(opened, [] {
        if (toSystemLog)
            openlog("vantry", LOG_PID, LOG_USER);
    });

    QString single = text;
    single.replace(QLatin1Char('\n'), QLatin1Char(' '));
    const QByteArray utf8 = single.toUtf8();
    std::fprintf(stderr, "vantry: %s\n", utf8.constData());
    if (toSystemLog)
        syslog(LOG_NOTICE, "%s", utf8.constData());
}

} // namespace Log
