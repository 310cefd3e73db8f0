#include "ReferenceTime.h"

namespace ReferenceTime {

namespace {
const qint64 referenceMSecs = QDateTime(QDate(2001, 1, 1), QTime(0, 0), Qt::UTC).toMSecsSinceEpoch();
}

double now()
{
    return fromDateTime(QDateTime::currentDateTimeUtc());
}

double fromDateTime(const QDateTime &dateTime)
{
    return double(dateTime.toMSecsSinceEpoch() - referenceMSecs) / 1000.0;
}

QDateTime toDateTime(double seconds)
{
    return QDateTime::fromMSecsSinceEpoch(referenceMSecs + qRound64(seconds * 1000.0), Qt::UTC);
}

} // namespace ReferenceTime
