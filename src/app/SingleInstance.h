#pragma once

#include <QLockFile>
#include <QObject>
#include <QStringList>

class QLocalServer;

// Keeps Vantry to one running program per user session. The first program listens on a local socket in the
// runtime folder; later starts hand their request to it and leave. A local socket works with or without a
// session bus, and its place follows XDG_RUNTIME_DIR, so each test home gets its own instance.
class SingleInstance : public QObject {
    Q_OBJECT

public:
    enum class Request { show, toggle, open };

    explicit SingleInstance(QObject *parent = nullptr);
    ~SingleInstance() override;

    static QString socketPath();

    // Becomes the running instance unless another one answers. A socket left behind by a crashed program is
    // taken over.
    bool claim();

    // Hands `request` (with `paths` for open) to the running instance; false when none is running.
    static bool sendToRunningInstance(Request request, const QStringList &paths = {});

Q_SIGNALS:
    void requestReceived(SingleInstance::Request request, const QStringList &paths);

private:
    void readConnection();

    QLocalServer *m_server = nullptr;
};
