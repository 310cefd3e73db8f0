#pragma once

#include "ObjectTableMemo.h"

#include <QByteArray>
#include <QString>
#include <QVariant>

#include <optional>

// Reads "bplist00" data straight into QVariants (the value types of PropertyList.h). Ours rather than
// libplist's because a full recent-items state has tens of thousands of objects: libplist builds a node tree
// first, takes linear time per array index, and aborts the process on a string holding a NUL character.
// Validates the file as the platform's reader does; damaged or hostile data gives an error, never a crash.
class BinaryPropertyListReader {
public:
    static bool isBinary(const QByteArray &data);
    static QVariant read(const QByteArray &data, QString *error = nullptr);

private:
    explicit BinaryPropertyListReader(const QByteArray &data) : m_data(data) {}
    bool readTrailer();
    DecodedObject object(quint64 index, int depth);
    DecodedObject parseObject(quint64 offset, int depth);
    bool readCount(quint64 &offset, quint8 marker, quint64 &count);
    bool checkReferences(quint64 offset, quint64 count);
    quint64 referenceAt(quint64 offset, quint64 position) const;
    bool readUnsigned(quint64 offset, int size, quint64 &value);
    bool inObjectArea(quint64 offset, quint64 length) const;
    bool fail(const QString &error);

    const QByteArray &m_data;
    const uchar *m_bytes = nullptr;
    int m_offsetSize = 0;
    int m_referenceSize = 0;
    quint64 m_objectCount = 0;
    quint64 m_topObject = 0;
    quint64 m_offsetTable = 0;
    std::optional<ObjectTableMemo> m_memo;
    QString m_error;
};
