#pragma once

#include <QDebug>
#include <QString>
#include <QVariant>

#include <ostream>

// Readable failure messages for Qt values in GoogleTest assertions.
inline void PrintTo(const QVariant &value, std::ostream *out)
{
    *out << QDebug::toString(value).toStdString();
}
inline void PrintTo(const QString &value, std::ostream *out)
{
    *out << '"' << value.toStdString() << '"';
}
