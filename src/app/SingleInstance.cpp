#include "SingleInstance.h"

#include "AppPaths.h"
#include "Log.h"

#include <QDataStream>
#include <QDir>
#include <QLocalServer>
#include <QLocalSocket>
#include <QStandardPaths>

namespace {

constexpr int timeoutMSecs = 3000;
constexpr quint32 protocolVersion = 1;

} // namespace

SingleInstance::SingleInstance(QObject *parent) : QObject(parent) {}

SingleInstance::~SingleInstance() = default;

QString SingleInstance::socketPath()
{
    QString folder = QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
    if (folder.isEmpty())
        folder = AppPaths::cacheFolder();
    return QDir(folder).filePath(QStringLiteral("vantry.socket"));
}

bool SingleInstance::claim()
{
    const QString path = socketPath();
    QDir().mkpath(QFileInfo(path).path());
    // Two programs started at the same moment must not both take a stale socket over.
    QLockFile lock(path + QStringLiteral(".lock"));
    if (!lock.tryLock(timeoutMSecs))
        return false;
    QLocalSocket probe;
    probe.connectToServer(path);
    if (probe.waitForConnected(timeoutMSecs))
        return false;
    QLocalServer::removeServer(path);
    m_server = new QLocalServer(this);
    m_server->setSocketOptions(QLocalServer::UserAccessOption);
    if (!m_server->listen(path)) {
        Log::line(QStringLiteral("cannot listen on %1: %2").arg(path, m_server->errorString()));
        return true; // run anyway; only the hand-over of later starts is lost
    }
    connect(m_server, &QLocalServer::newConnection, this, &SingleInstance::readConnection);
    return true;
}

void SingleInstance::readConnection()
{
    while (QLocalSocket *socket = m_server->nextPendingConnection()) {
        connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        connect(socket, &QLocalSocket::readyRead, this, [this, socket] {
            QDataStream stream(socket);
            stream.startTransaction();
            quint32 version = 0;
            qint32 request = 0;
            QStringList paths;
            stream >> version >> request >> paths;
            if (!stream.commitTransaction())
                return; // wait for the rest
            socket->write("ok");
            socket->disconnectFromServer();
            if (version != protocolVersion || request < 0 || request > qint32(Request::open)) {
                Log::line(QStringLiteral("ignored a request of another Vantry version"));
                return;
            }
            Q_EMIT requestReceived(Request(request), paths);
        });
    }
}

bool SingleInstance::sendToRunningInstance(Request request, const QStringList &paths)
{
    QLocalSocket socket;
    socket.connectToServer(socketPath());
    if (!socket.waitForConnected(timeoutMSecs))
        return false;
    QByteArray message;
    QDataStream stream(&message, QIODevice::WriteOnly);
    stream << protocolVersion << qint32(request) << paths;
    socket.write(message);
    // The answer tells that the request arrived before we leave.
    while (socket.bytesAvailable() < 2 && socket.waitForReadyRead(timeoutMSecs)) {
    }
    return socket.bytesAvailable() >= 2;
}
