#pragma once

#include <QString>
#include <QVariant>

// Renders property-list values (as PropertyList and KeyedUnarchiver give them) for people and for programs.
namespace ValueFormatter {

// An indented outline: `"key" => value`, arrays indexed, dates in ISO-8601, data in hex.
QString toText(const QVariant &value);

// JSON: dates as ISO-8601 strings, data as base64, 64-bit integers exact, nil and null as null.
QString toJson(const QVariant &value);

} // namespace ValueFormatter
