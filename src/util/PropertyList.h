#pragma once

#include <QByteArray>
#include <QMetaType>
#include <QString>
#include <QVariant>

// An object reference inside a keyed archive (binary marker 0x8n, `{CF$UID: n}` in XML).
struct PlistUid {
    quint64 value = 0;
    friend bool operator==(PlistUid a, PlistUid b) { return a.value == b.value; }
};
Q_DECLARE_METATYPE(PlistUid)

// Reads and writes XML and binary property lists. Values travel as QVariant:
//   dictionary  QVariantMap          array    QVariantList (QStringList accepted on write)
//   string      QString              data     QByteArray
//   integer     qint64, or quint64 only above INT64_MAX (int, uint, qint64, quint64 accepted on write)
//   real        double               boolean  bool
//   date        QDateTime (UTC)      UID      PlistUid
// Property lists have no null: an invalid QVariant always means failure.
namespace PropertyList {

enum class Format { Xml, Binary };

// Parses XML or binary data, whichever it is. On failure returns an invalid QVariant and sets `error`.
QVariant fromData(const QByteArray &data, QString *error = nullptr);

// Serialises `value`. On failure (a type with no plist form) returns an empty array and sets `error`.
QByteArray toData(const QVariant &value, Format format, QString *error = nullptr);

// Reads a whole file; the error names the file.
QVariant readFile(const QString &path, QString *error = nullptr);

// Writes atomically: the old file stays intact until the new one is complete.
bool writeFile(const QString &path, const QVariant &value, Format format, QString *error = nullptr);

} // namespace PropertyList
