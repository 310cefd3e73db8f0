#pragma once

#include <QDateTime>

// Absolute times as the state files and the engine keep them: seconds since 2001-01-01T00:00:00Z, as a
// double.
namespace ReferenceTime {

double now();
double fromDateTime(const QDateTime &dateTime);
QDateTime toDateTime(double seconds);

} // namespace ReferenceTime
