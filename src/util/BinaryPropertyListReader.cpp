#include "BinaryPropertyListReader.h"

#include "PropertyList.h"
#include "ReferenceTime.h"

#include <QDateTime>
#include <QtEndian>

#include <cmath>
#include <limits>

namespace {

const QByteArray magic = QByteArrayLiteral("bplist00");
constexpr qsizetype headerSize = 8;
constexpr qsizetype trailerSize = 32;
constexpr int maxDepth = 512;
constexpr double maxDateSeconds = 1e14;

enum Marker : quint8 {
    Simple = 0x00, // null, false, true, fill
    Integer = 0x10,
    Real = 0x20,
    Date = 0x30,
    Data = 0x40,
    AsciiString = 0x50,
    Utf16String = 0x60,
    Uid = 0x80,
    Array = 0xA0,
    Set = 0xC0,
    Dictionary = 0xD0,
};

constexpr quint8 falseMarker = 0x08;
constexpr quint8 trueMarker = 0x09;
constexpr quint8 countFollows = 0x0F;

} // namespace

bool BinaryPropertyListReader::isBinary(const QByteArray &data)
{
    return data.startsWith(magic);
}

QVariant BinaryPropertyListReader::read(const QByteArray &data, QString *error)
{
    BinaryPropertyListReader reader(data);
    QVariant value;
    if (reader.readTrailer())
        value = reader.object(reader.m_topObject, 0).value;
    if (!reader.m_error.isEmpty()) {
        if (error)
            *error = QStringLiteral("damaged binary property list: %1").arg(reader.m_error);
        return {};
    }
    return value;
}

bool BinaryPropertyListReader::fail(const QString &error)
{
    if (m_error.isEmpty())
        m_error = error;
    return false;
}

bool BinaryPropertyListReader::inObjectArea(quint64 offset, quint64 length) const
{
    return offset >= quint64(headerSize) && offset <= m_offsetTable && length <= m_offsetTable - offset;
}

bool BinaryPropertyListReader::readUnsigned(quint64 offset, int size, quint64 &value)
{
    if (offset > quint64(m_data.size()) || quint64(size) > quint64(m_data.size()) - offset)
        return fail(QStringLiteral("a number runs past the end"));
    value = 0;
    for (int i = 0; i < size; ++i)
        value = (value << 8) | m_bytes[offset + quint64(i)];
    return true;
}

bool BinaryPropertyListReader::readTrailer()
{
    m_bytes = reinterpret_cast<const uchar *>(m_data.constData());
    if (!isBinary(m_data) || m_data.size() < headerSize + trailerSize + 1)
        return fail(QStringLiteral("too short"));
    const quint64 trailer = quint64(m_data.size() - trailerSize);
    m_offsetSize = m_bytes[trailer + 6];
    m_referenceSize = m_bytes[trailer + 7];
    readUnsigned(trailer + 8, 8, m_objectCount);
    readUnsigned(trailer + 16, 8, m_topObject);
    readUnsigned(trailer + 24, 8, m_offsetTable);

    const auto validSize = [](int size) { return size >= 1 && size <= 8; };
    if (!validSize(m_offsetSize) || !validSize(m_referenceSize))
        return fail(QStringLiteral("bad offset or reference size"));
    if (m_objectCount < 1 || m_topObject >= m_objectCount)
        return fail(QStringLiteral("bad object count or top object"));
    // The offset table sits between the objects and the trailer, filling the gap exactly.
    if (m_offsetTable < quint64(headerSize + 1) || m_offsetTable > trailer ||
        m_objectCount > (trailer - m_offsetTable) / quint64(m_offsetSize) ||
        m_offsetTable + m_objectCount * quint64(m_offsetSize) != trailer)
        return fail(QStringLiteral("the offset table does not fit the file"));
    m_memo.emplace(m_objectCount);
    return true;
}

DecodedObject BinaryPropertyListReader::object(quint64 index, int depth)
{
    if (!m_error.isEmpty())
        return {};
    if (index >= m_objectCount) {
        fail(QStringLiteral("reference %1 points past the %2 objects").arg(index).arg(m_objectCount));
        return {};
    }
    if (depth > maxDepth) {
        fail(QStringLiteral("containers nest too deeply"));
        return {};
    }
    return m_memo->resolve(index, m_error, [&]() -> DecodedObject {
        quint64 offset = 0;
        readUnsigned(m_offsetTable + index * quint64(m_offsetSize), m_offsetSize, offset);
        if (!m_error.isEmpty() || !inObjectArea(offset, 1)) {
            fail(QStringLiteral("object %1 lies outside the object area").arg(index));
            return {};
        }
        return parseObject(offset, depth);
    });
}

bool BinaryPropertyListReader::readCount(quint64 &offset, quint8 marker, quint64 &count)
{
    count = marker & 0x0F;
    if (count != countFollows)
        return true;
    if (!inObjectArea(offset, 1))
        return fail(QStringLiteral("a count runs past the objects"));
    const quint8 countMarker = m_bytes[offset];
    const int size = 1 << (countMarker & 0x0F);
    if ((countMarker & 0xF0) != Integer || size > 8 || !inObjectArea(offset + 1, quint64(size)))
        return fail(QStringLiteral("a count is not a valid integer"));
    readUnsigned(offset + 1, size, count);
    offset += 1 + quint64(size);
    return true;
}

bool BinaryPropertyListReader::checkReferences(quint64 offset, quint64 count)
{
    if (count > m_offsetTable || !inObjectArea(offset, count * quint64(m_referenceSize)))
        return fail(QStringLiteral("a container's references run past the objects"));
    return true;
}

quint64 BinaryPropertyListReader::referenceAt(quint64 offset, quint64 position) const
{
    const uchar *bytes = m_bytes + offset + position * quint64(m_referenceSize);
    quint64 value = 0;
    for (int i = 0; i < m_referenceSize; ++i)
        value = (value << 8) | bytes[i];
    return value;
}

DecodedObject BinaryPropertyListReader::parseObject(quint64 offset, int depth)
{
    const quint8 marker = m_bytes[offset++];
    const quint8 low = marker & 0x0F;
    switch (marker & 0xF0) {
    case Simple:
        if (marker == falseMarker || marker == trueMarker)
            return {marker == trueMarker, 1};
        fail(QStringLiteral("unsupported marker 0x%1").arg(marker, 2, 16, QLatin1Char('0')));
        return {};
    case Integer: {
        const int size = 1 << low;
        if (size > 16 || !inObjectArea(offset, quint64(size))) {
            fail(QStringLiteral("bad integer"));
            return {};
        }
        if (size == 16) {
            // 2^63 and above are written as 16 bytes whose upper half is zero.
            quint64 high = 0;
            quint64 value = 0;
            readUnsigned(offset, 8, high);
            readUnsigned(offset + 8, 8, value);
            if (high == 0)
                return {value > quint64(std::numeric_limits<qint64>::max()) ? QVariant::fromValue(value)
                                                                            : QVariant(qint64(value)),
                        1};
            if (high == ~quint64(0) && qint64(value) < 0)
                return {qint64(value), 1};
            fail(QStringLiteral("an integer is too large"));
            return {};
        }
        quint64 value = 0;
        readUnsigned(offset, size, value);
        // 8-byte integers are signed, shorter ones unsigned.
        return {qint64(value), 1};
    }
    case Real: {
        if ((low != 2 && low != 3) || !inObjectArea(offset, quint64(1) << low)) {
            fail(QStringLiteral("bad real"));
            return {};
        }
        if (low == 2)
            return {double(qFromBigEndian<float>(m_bytes + offset)), 1};
        return {qFromBigEndian<double>(m_bytes + offset), 1};
    }
    case Date: {
        if (marker != 0x33 || !inObjectArea(offset, 8)) {
            fail(QStringLiteral("bad date"));
            return {};
        }
        const double seconds = qFromBigEndian<double>(m_bytes + offset);
        if (!std::isfinite(seconds) || std::abs(seconds) > maxDateSeconds) {
            fail(QStringLiteral("a date is out of range"));
            return {};
        }
        return {ReferenceTime::toDateTime(seconds), 1};
    }
    case Data:
    case AsciiString:
    case Utf16String: {
        quint64 count = 0;
        if (!readCount(offset, marker, count))
            return {};
        const quint64 unit = (marker & 0xF0) == Utf16String ? 2 : 1;
        if (count > m_offsetTable || !inObjectArea(offset, count * unit)) {
            fail(QStringLiteral("a string or data runs past the objects"));
            return {};
        }
        const char *start = reinterpret_cast<const char *>(m_bytes + offset);
        if ((marker & 0xF0) == Data)
            return {QByteArray(start, qsizetype(count)), 1};
        if ((marker & 0xF0) == AsciiString)
            return {QString::fromLatin1(start, qsizetype(count)), 1};
        QString text(qsizetype(count), Qt::Uninitialized);
        qFromBigEndian<char16_t>(start, qsizetype(count), text.data());
        return {text, 1};
    }
    case Uid: {
        quint64 value = 0;
        if (!inObjectArea(offset, quint64(low) + 1) || low > 7 || !readUnsigned(offset, low + 1, value)) {
            fail(QStringLiteral("bad UID"));
            return {};
        }
        return {QVariant::fromValue(PlistUid{value}), 1};
    }
    case Array:
    case Set: {
        quint64 count = 0;
        if (!readCount(offset, marker, count) || !checkReferences(offset, count))
            return {};
        DecodedObject result{QVariant(), 1};
        QVariantList list;
        list.reserve(qsizetype(count));
        for (quint64 i = 0; i < count; ++i) {
            DecodedObject item = object(referenceAt(offset, i), depth + 1);
            if (!m_error.isEmpty())
                return {};
            list.append(std::move(item.value));
            result.weight += item.weight;
        }
        result.value = std::move(list);
        return result;
    }
    case Dictionary: {
        quint64 count = 0;
        if (!readCount(offset, marker, count) || count > m_offsetTable / 2 ||
            !checkReferences(offset, count * 2))
            return {};
        DecodedObject result{QVariant(), 1};
        QVariantMap map;
        for (quint64 i = 0; i < count; ++i) {
            const DecodedObject key = object(referenceAt(offset, i), depth + 1);
            DecodedObject value = object(referenceAt(offset, count + i), depth + 1);
            if (!m_error.isEmpty())
                return {};
            if (key.value.typeId() != QMetaType::QString) {
                fail(QStringLiteral("a dictionary key is not a string"));
                return {};
            }
            map.insert(key.value.toString(), std::move(value.value));
            result.weight += value.weight;
        }
        result.value = std::move(map);
        return result;
    }
    default:
        fail(QStringLiteral("unknown marker 0x%1").arg(marker, 2, 16, QLatin1Char('0')));
        return {};
    }
}
