#include "StringTable.h"

#include "Log.h"
#include "PropertyList.h"

#include <QDirIterator>
#include <QFileInfo>
#include <QHash>
#include <QVariantMap>

namespace StringTable {

namespace {

using Tables = QHash<QString, QVariantMap>;

Tables loadTables()
{
    Tables tables;
    QDirIterator files(QStringLiteral(":/strings"), {QStringLiteral("*.plist")}, QDir::Files);
    while (files.hasNext()) {
        const QString path = files.next();
        QString error;
        const QVariant root = PropertyList::readFile(path, &error);
        if (root.typeId() == QMetaType::QVariantMap)
            tables.insert(QFileInfo(path).completeBaseName(), root.toMap());
        else
            Log::line(QStringLiteral("string table %1 is unusable: %2")
                          .arg(path, root.isValid() ? QStringLiteral("not a dictionary") : error));
    }
    return tables;
}

const Tables &tables()
{
    static const Tables loaded = loadTables();
    return loaded;
}

constexpr qsizetype maxPlaceholders = 4;

} // namespace

QString localized(const QString &key, const QString &table)
{
    return tables().value(table).value(key).toString();
}

QString substitute(const QString &text, const QStringList &arguments)
{
    const qsizetype placeholders = std::min(arguments.size(), maxPlaceholders);
    QString result;
    result.reserve(text.size());
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (text[i] == u'%' && i + 1 < text.size()) {
            const qsizetype index = text[i + 1].unicode() - u'1';
            if (index >= 0 && index < placeholders) {
                result += arguments[index];
                ++i;
                continue;
            }
        }
        result += text[i];
    }
    return result;
}

} // namespace StringTable
