#include "ExtendedAttributes.h"

#include <QFile>
#include <QMutex>

#include <sys/xattr.h>

namespace ExtendedAttributes {

namespace {
const QByteArray userNamespace = QByteArrayLiteral("user.");

QByteArray systemName(const QString &name)
{
    return userNamespace + name.toUtf8();
}

int result(ssize_t status)
{
    return status < 0 ? errno : 0;
}

QMutex observerLock;
std::function<void(const QString &)> writeObserver;

int written(const QString &path, ssize_t status)
{
    const int error = result(status);
    QMutexLocker lock(&observerLock);
    if (!error && writeObserver)
        writeObserver(path);
    return error;
}
} // namespace

QByteArray value(const QString &path, const QString &name, qsizetype capacity, int *error)
{
    QByteArray buffer(capacity, Qt::Uninitialized);
    const ssize_t size = lgetxattr(QFile::encodeName(path).constData(), systemName(name).constData(),
                                   buffer.data(), buffer.size());
    *error = result(size);
    buffer.resize(size < 0 ? 0 : size);
    return buffer;
}

int setValue(const QString &path, const QString &name, const QByteArray &value)
{
    return written(path, lsetxattr(QFile::encodeName(path).constData(), systemName(name).constData(),
                                   value.constData(), value.size(), 0));
}

int remove(const QString &path, const QString &name)
{
    return written(path, lremovexattr(QFile::encodeName(path).constData(), systemName(name).constData()));
}

QStringList names(const QString &path, int *error)
{
    const QByteArray encodedPath = QFile::encodeName(path);
    QByteArray list;
    // The list can grow between asking for its size and reading it; ERANGE means try again.
    for (;;) {
        const ssize_t size = llistxattr(encodedPath.constData(), nullptr, 0);
        if (size < 0) {
            *error = errno;
            return {};
        }
        list.resize(size);
        const ssize_t read = llistxattr(encodedPath.constData(), list.data(), list.size());
        if (read >= 0) {
            list.resize(read);
            break;
        }
        if (errno != ERANGE) {
            *error = errno;
            return {};
        }
    }
    *error = 0;
    QStringList userNames;
    for (const QByteArray &name : list.split('\0')) {
        if (name.startsWith(userNamespace))
            userNames.append(QString::fromUtf8(name.mid(userNamespace.size())));
    }
    return userNames;
}

void setWriteObserver(std::function<void(const QString &path)> observer)
{
    QMutexLocker lock(&observerLock);
    writeObserver = std::move(observer);
}

} // namespace ExtendedAttributes
