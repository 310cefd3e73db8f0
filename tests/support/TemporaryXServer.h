#pragma once

#include <QByteArray>
#include <QProcess>
#include <QString>

// A private Xvfb server for the lifetime of the object, with DISPLAY pointing at it (restored afterwards).
// isRunning() is false when Xvfb is missing or failed to start; tests then skip.
class TemporaryXServer {
public:
    TemporaryXServer(int width = 1280, int height = 800);
    ~TemporaryXServer();
    TemporaryXServer(const TemporaryXServer &) = delete;
    TemporaryXServer &operator=(const TemporaryXServer &) = delete;

    bool isRunning() const { return !m_display.isEmpty(); }
    QString display() const { return m_display; }

    // Runs `program` (xdotool, xprop ...) against this server; true when it exits with status 0.
    bool run(const QString &program, const QStringList &arguments, QByteArray *output = nullptr) const;

private:
    QProcess m_server;
    QString m_display;
    QByteArray m_savedDisplay;
    bool m_hadDisplay = false;
};
