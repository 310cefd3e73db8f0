#pragma once

#include <QString>
#include <QVariantMap>

// What the tag store keeps on a file, as metadata index attributes: the file's tags (merged with the
// desktop's tags as the store reads them) and every value stored under a "com.apple.metadata:" name, under
// the key that follows the prefix. Values the index cannot hold (dictionaries, raw data, damaged property
// lists) are left out, and attributes already present are kept, so a file cannot overwrite what the file
// system tells. Fits MetadataCrawler::AttributeReader.
namespace TagStoreAttributes {

void read(const QString &path, QVariantMap &attributes);

} // namespace TagStoreAttributes
