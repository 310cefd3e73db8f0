#include "TemporaryXServer.h"

#include <QProcessEnvironment>

#include <fcntl.h>
#include <unistd.h>

TemporaryXServer::TemporaryXServer(int width, int height)
{
    // Xvfb writes the display number it picked to the descriptor given with -displayfd once it accepts
    // connections, which avoids both fixed numbers and polling.
    int fds[2];
    if (pipe2(fds, O_CLOEXEC) != 0)
        return;
    const int writeEnd = fcntl(fds[1], F_DUPFD, 3); // a copy without close-on-exec for the child
    close(fds[1]);
    m_server.setProgram(QStringLiteral("Xvfb"));
    m_server.setArguments({QStringLiteral("-displayfd"), QString::number(writeEnd), QStringLiteral("-screen"),
                           QStringLiteral("0"), QStringLiteral("%1x%2x24").arg(width).arg(height),
                           QStringLiteral("-nolisten"), QStringLiteral("tcp"), QStringLiteral("-noreset")});
    m_server.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_server.start();
    close(writeEnd);
    QByteArray number;
    if (m_server.waitForStarted(10000)) {
        char buffer[32];
        ssize_t n;
        while ((n = read(fds[0], buffer, sizeof buffer)) > 0) {
            number.append(buffer, n);
            if (number.endsWith('\n'))
                break;
        }
    }
    close(fds[0]);
    number = number.trimmed();
    if (number.isEmpty()) {
        m_server.kill();
        m_server.waitForFinished();
        return;
    }
    m_display = QStringLiteral(":") + QString::fromLatin1(number);
    m_hadDisplay = qEnvironmentVariableIsSet("DISPLAY");
    m_savedDisplay = qgetenv("DISPLAY");
    qputenv("DISPLAY", m_display.toLatin1());
}

TemporaryXServer::~TemporaryXServer()
{
    if (!isRunning())
        return;
    if (m_hadDisplay)
        qputenv("DISPLAY", m_savedDisplay);
    else
        qunsetenv("DISPLAY");
    m_server.terminate();
    if (!m_server.waitForFinished(5000))
        m_server.kill();
    m_server.waitForFinished();
}

bool TemporaryXServer::run(const QString &program, const QStringList &arguments, QByteArray *output) const
{
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("DISPLAY"), m_display);
    process.setProcessEnvironment(environment);
    process.start(program, arguments);
    if (!process.waitForFinished(30000))
        return false;
    if (output)
        *output = process.readAllStandardOutput();
    return process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}
