#include "QueryNode.h"

#include "ReferenceTime.h"

std::pair<double, double> QueryTime::range(const QDateTime &now) const
{
    if (unit == Unit::Now) {
        const double at = ReferenceTime::fromDateTime(now) + offset;
        return {at, at};
    }
    if (unit == Unit::Iso) {
        const double at = ReferenceTime::fromDateTime(iso);
        return {at, at};
    }
    const QDate today = now.toLocalTime().date();
    const int count = int(offset);
    QDate start, end;
    switch (unit) {
    case Unit::Day:
        start = today.addDays(count);
        end = start.addDays(1);
        break;
    case Unit::Week: // weeks start on Monday, as in ISO 8601
        start = today.addDays(1 - today.dayOfWeek()).addDays(7 * qint64(count));
        end = start.addDays(7);
        break;
    case Unit::Month:
        start = QDate(today.year(), today.month(), 1).addMonths(count);
        end = start.addMonths(1);
        break;
    default:
        start = QDate(today.year(), 1, 1).addYears(count);
        end = start.addYears(1);
        break;
    }
    return {ReferenceTime::fromDateTime(start.startOfDay()), ReferenceTime::fromDateTime(end.startOfDay())};
}

double QueryValue::bound(const QDateTime &now) const
{
    return kind == Kind::Time ? time.range(now).first : number;
}
