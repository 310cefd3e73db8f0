#include "FileSystemEvent.h"

namespace {
const QString flagKey = QStringLiteral("evFlag");
const QString idKey = QStringLiteral("evId");
const QString pathKey = QStringLiteral("evPath");
} // namespace

FileSystemEvent::FileSystemEvent(quint64 evId, const QString &evPath, quint32 evFlag)
    : m_id(evId), m_path(evPath), m_flag(evFlag)
{
}

FileSystemEvent FileSystemEvent::initWithDict(const QVariantMap &dict)
{
    return FileSystemEvent(dict.value(idKey).toULongLong(), dict.value(pathKey).toString(),
                           dict.value(flagKey).toUInt());
}

QVariantMap FileSystemEvent::asDict() const
{
    return {{flagKey, QVariant::fromValue(m_flag)}, {idKey, QVariant::fromValue(m_id)}, {pathKey, m_path}};
}

QString FileSystemEvent::description() const
{
    // The flag word prints as a signed number, as it always has in these lines.
    return QStringLiteral("FS Event- evID= %1, evPath= %2, evFlag= %3")
        .arg(QString::number(m_id), m_path, QString::number(qint32(m_flag)));
}
