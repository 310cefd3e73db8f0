#pragma once

#include "ProcessResult.h"

#include <QDeadlineTimer>
#include <QProcess>

#include <csignal>
#include <functional>

// A long-running `vantry` command (watch, query --live) in the temporary home, its output read line by line.
class RunningVantry {
public:
    explicit RunningVantry(const QStringList &arguments)
    {
        m_process.start(vantryProgram(), arguments);
        m_process.waitForStarted();
    }

    ~RunningVantry()
    {
        if (m_process.state() != QProcess::NotRunning) {
            m_process.kill();
            m_process.waitForFinished();
        }
    }

    // Reads lines until one satisfies `wanted`; false when none came within 30 s.
    bool waitForLine(const std::function<bool(const QByteArray &)> &wanted)
    {
        QDeadlineTimer deadline(30000);
        while (!deadline.hasExpired()) {
            while (m_process.canReadLine()) {
                QByteArray line = m_process.readLine();
                line.chop(1);
                m_lines.append(line);
                if (wanted(line))
                    return true;
            }
            m_process.waitForReadyRead(100);
        }
        return false;
    }
    bool waitForLine(const QByteArray &line)
    {
        return waitForLine([&](const QByteArray &read) { return read == line; });
    }

    // Every line read so far.
    const QList<QByteArray> &lines() const { return m_lines; }

    // SIGTERM, then the exit status; -1 when it did not end normally.
    int terminate()
    {
        ::kill(pid_t(m_process.processId()), SIGTERM);
        return m_process.waitForFinished(30000) && m_process.exitStatus() == QProcess::NormalExit
                   ? m_process.exitCode()
                   : -1;
    }

private:
    QProcess m_process;
    QList<QByteArray> m_lines;
};
