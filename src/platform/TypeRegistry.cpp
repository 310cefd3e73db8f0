#include "TypeRegistry.h"

#include "Log.h"
#include "Packages.h"
#include "PropertyList.h"

#include <QFileInfo>
#include <QHash>
#include <QMimeDatabase>
#include <QSet>
#include <QVariantMap>

#include <algorithm>
#include <cctype>

namespace TypeRegistry {

namespace {

const QString itemType = QStringLiteral("public.item");
const QString dataType = QStringLiteral("public.data");
const QString directoryType = QStringLiteral("public.directory");
const QString folderType = QStringLiteral("public.folder");
const QString packageType = QStringLiteral("com.apple.package");
const QString unknownMimeType = QStringLiteral("application/octet-stream");
const QLatin1String extensionPrefix("dyn.ext-");
const QLatin1String mimePrefix("dyn.mime-");

struct DeclaredType {
    QStringList extensions;
    QStringList mimeTypes;
    QString description;
    QSet<QString> conformsTo; // transitively, the type itself included
};

class Table {
public:
    Table();

    const DeclaredType *find(const QString &uti) const
    {
        const auto found = m_types.constFind(uti);
        return found == m_types.cend() ? nullptr : &*found;
    }
    QStringList utisForExtension(const QString &extension) const { return m_byExtension.value(extension); }
    QString utiForMimeType(const QString &mimeType) const { return m_byMimeType.value(mimeType); }

private:
    QHash<QString, DeclaredType> m_types;
    QHash<QString, QStringList> m_byExtension;
    QHash<QString, QString> m_byMimeType;
};

QStringList lowerCased(QStringList strings)
{
    for (QString &string : strings)
        string = string.toLower();
    return strings;
}

QSet<QString> ancestors(const QString &uti, const QHash<QString, QStringList> &parents)
{
    QSet<QString> found{uti};
    QStringList pending{uti};
    while (!pending.isEmpty()) {
        for (const QString &parent : parents.value(pending.takeLast())) {
            if (!found.contains(parent)) {
                found.insert(parent);
                pending.append(parent);
            }
        }
    }
    return found;
}

Table::Table()
{
    const QString path = QStringLiteral(":/types/UniformTypes.plist");
    QString error;
    const QVariant root = PropertyList::readFile(path, &error);
    if (root.typeId() != QMetaType::QVariantMap) {
        Log::line(QStringLiteral("type table %1 is unusable: %2")
                      .arg(path, root.isValid() ? QStringLiteral("not a dictionary") : error));
        return;
    }
    // The map iterates in key order, which keeps the choice between types sharing a tag the same on every
    // run.
    const QVariantMap declarations = root.toMap();
    QHash<QString, QStringList> parents;
    for (auto it = declarations.cbegin(); it != declarations.cend(); ++it) {
        const QVariantMap fields = it.value().toMap();
        parents.insert(it.key(), fields.value(QStringLiteral("conformsTo")).toStringList());
        m_types.insert(it.key(), {lowerCased(fields.value(QStringLiteral("extensions")).toStringList()),
                                  lowerCased(fields.value(QStringLiteral("mimeTypes")).toStringList()),
                                  fields.value(QStringLiteral("description")).toString(),
                                  {}});
    }
    for (auto it = declarations.cbegin(); it != declarations.cend(); ++it) {
        DeclaredType &type = m_types[it.key()];
        type.conformsTo = ancestors(it.key(), parents);
        for (const QString &parent : parents.value(it.key())) {
            if (!m_types.contains(parent))
                Log::line(QStringLiteral("type table: %1 conforms to undeclared %2").arg(it.key(), parent));
        }
    }
    // Types that prefer a tag come before those that merely accept it.
    for (const bool preferred : {true, false}) {
        for (auto it = declarations.cbegin(); it != declarations.cend(); ++it) {
            const DeclaredType &type = *find(it.key());
            for (const QString &extension : preferred ? type.extensions.mid(0, 1) : type.extensions.mid(1))
                m_byExtension[extension].append(it.key());
            for (const QString &mimeType : preferred ? type.mimeTypes.mid(0, 1) : type.mimeTypes.mid(1)) {
                if (!m_byMimeType.contains(mimeType))
                    m_byMimeType.insert(mimeType, it.key());
            }
        }
    }
}

const Table &table()
{
    static const Table loaded;
    return loaded;
}

bool isDynamic(const QString &uti)
{
    return uti.startsWith(QLatin1String("dyn."));
}

QString dynamicType(QLatin1String prefix, const QString &tag)
{
    QString uti = prefix;
    for (const char c : tag.toLower().toUtf8()) {
        if ((c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '.')
            uti += QLatin1Char(c);
        else
            uti += QStringLiteral("-%1").arg(uint(uchar(c)), 2, 16, QLatin1Char('0'));
    }
    return uti;
}

// The tag spelled out by a dynamic type made with `prefix`; empty for any other identifier.
QString dynamicTag(const QString &uti, QLatin1String prefix)
{
    if (!uti.startsWith(prefix))
        return {};
    const QByteArray code = uti.mid(prefix.size()).toLatin1();
    QByteArray tag;
    for (qsizetype i = 0; i < code.size(); ++i) {
        if (code[i] != '-') {
            tag += code[i];
            continue;
        }
        const QByteArray hex = code.mid(i + 1, 2);
        if (hex.size() != 2 || !isxdigit(uchar(hex[0])) || !isxdigit(uchar(hex[1])))
            return {};
        tag += QByteArray::fromHex(hex);
        i += 2;
    }
    return QString::fromUtf8(tag);
}

// The MIME type without parameters, as the table spells it.
QString essence(const QString &mimeType)
{
    return mimeType.section(u';', 0, 0).trimmed().toLower();
}

QMimeType mimeTypeByName(const QString &fileName)
{
    return QMimeDatabase().mimeTypeForFile(fileName, QMimeDatabase::MatchExtension);
}

QString declaredTypeForExtension(const QString &extension)
{
    return table().utisForExtension(extension.toLower()).value(0);
}

// The type a file name alone tells: the table's for its extension, else that of the MIME database's guess.
QString utiByName(const QString &fileName, const QString &extension)
{
    if (const QString declared = declaredTypeForExtension(extension); !declared.isEmpty())
        return declared;
    if (const QMimeType guess = mimeTypeByName(fileName); !guess.isDefault()) {
        if (const QString uti = utiForMimeType(guess.name()); !isDynamic(uti))
            return uti;
    }
    return extension.isEmpty() ? QString() : dynamicType(extensionPrefix, extension);
}

// The MIME database trusts a name that matches one type; a name that promises text is only trusted when the
// content does not show a binary format (a picture saved as "notes.txt").
QMimeType recognise(const QFileInfo &file)
{
    const QMimeDatabase database;
    const QMimeType type = database.mimeTypeForFile(file);
    if (!type.inherits(QStringLiteral("text/plain")) || file.size() == 0)
        return type;
    const QMimeType content = database.mimeTypeForFile(file, QMimeDatabase::MatchContent);
    return content.isDefault() || content.inherits(QStringLiteral("text/plain")) ? type : content;
}

} // namespace

QString utiForMimeType(const QString &mimeType)
{
    const QString name = essence(mimeType);
    if (name.isEmpty())
        return {};
    if (const QString declared = table().utiForMimeType(name); !declared.isEmpty())
        return declared;
    // Nearest relatives first. Every type descends from application/octet-stream, so reaching it says
    // nothing.
    const QMimeDatabase database;
    QStringList generation{database.mimeTypeForName(name).name()};
    QSet<QString> seen{unknownMimeType};
    while (!generation.isEmpty()) {
        QStringList next;
        for (const QString &relative : std::as_const(generation)) {
            if (relative.isEmpty() || seen.contains(relative))
                continue;
            seen.insert(relative);
            const QMimeType type = database.mimeTypeForName(relative);
            for (const QString &alias : QStringList{relative} + type.aliases()) {
                if (const QString declared = table().utiForMimeType(alias); !declared.isEmpty())
                    return declared;
            }
            next += type.parentMimeTypes();
        }
        generation = next;
    }
    return dynamicType(mimePrefix, name);
}

QStringList utisForExtension(const QString &extension, bool isDirectory)
{
    const QString root = isDirectory ? directoryType : itemType;
    QStringList utis = table().utisForExtension(extension.toLower());
    utis.removeIf([&](const QString &uti) { return !conformsTo(uti, root); });
    return utis;
}

QString preferredUtiForExtension(const QString &extension)
{
    return extension.isEmpty() ? QString() : utiByName(QStringLiteral("x.") + extension, extension);
}

QString utiForFile(const QString &path)
{
    if (path.isEmpty())
        return {};
    const QFileInfo info(path);
    const QString extension = info.suffix();
    if (info.isDir()) {
        if (!Packages::isPackage(path))
            return folderType;
        const QStringList bundles = utisForExtension(extension, true);
        const auto bundle = std::find_if(bundles.cbegin(), bundles.cend(),
                                         [](const QString &uti) { return conformsTo(uti, packageType); });
        return bundle == bundles.cend() ? packageType : *bundle;
    }
    if (!info.exists() || (info.isFile() && !info.isReadable())) {
        const QString uti = utiByName(info.fileName(), extension);
        return !uti.isEmpty() ? uti : info.exists() ? dataType : itemType;
    }
    const QString uti = utiForMimeType(recognise(info).name());
    // Contents that say no more than "some data" leave the decision to the extension, so that all files
    // sharing an unknown extension share one type.
    if ((isDynamic(uti) || uti == dataType) && !extension.isEmpty())
        return preferredUtiForExtension(extension);
    return uti;
}

bool conformsTo(const QString &uti, const QString &parent)
{
    if (uti.isEmpty() || parent.isEmpty())
        return false;
    if (uti == parent)
        return true;
    if (isDynamic(uti))
        return parent == dataType || parent == itemType;
    const DeclaredType *type = table().find(uti);
    return type && type->conformsTo.contains(parent);
}

QStringList conformanceTree(const QString &uti)
{
    if (uti.isEmpty())
        return {};
    QStringList tree{uti};
    if (isDynamic(uti)) {
        tree << dataType << itemType;
    } else if (const DeclaredType *type = table().find(uti)) {
        QStringList parents(type->conformsTo.cbegin(), type->conformsTo.cend());
        parents.removeOne(uti);
        parents.sort(); // a set's order would differ from run to run
        tree << parents;
    }
    return tree;
}

QString preferredExtension(const QString &uti)
{
    if (const DeclaredType *type = table().find(uti))
        return type->extensions.value(0);
    if (const QString extension = dynamicTag(uti, extensionPrefix); !extension.isEmpty())
        return extension;
    if (const QString mimeType = dynamicTag(uti, mimePrefix); !mimeType.isEmpty())
        return QMimeDatabase().mimeTypeForName(mimeType).preferredSuffix();
    return {};
}

QString preferredMimeType(const QString &uti)
{
    if (const DeclaredType *type = table().find(uti))
        return type->mimeTypes.value(0);
    if (const QString mimeType = dynamicTag(uti, mimePrefix); !mimeType.isEmpty())
        return mimeType;
    if (const QString extension = dynamicTag(uti, extensionPrefix); !extension.isEmpty()) {
        const QMimeType guess = mimeTypeByName(QStringLiteral("x.") + extension);
        return guess.isDefault() ? QString() : guess.name();
    }
    return {};
}

QString description(const QString &uti)
{
    if (const DeclaredType *type = table().find(uti); type && !type->description.isEmpty())
        return type->description;
    if (const QString mimeType = preferredMimeType(uti); !mimeType.isEmpty()) {
        const QMimeType known = QMimeDatabase().mimeTypeForName(mimeType);
        if (known.isValid() && !known.comment().isEmpty())
            return known.comment();
    }
    if (const QString extension = preferredExtension(uti); !extension.isEmpty())
        return QStringLiteral("%1 file").arg(extension.toUpper());
    return {};
}

QString mimeTypeForExtension(const QString &extension)
{
    if (extension.isEmpty())
        return unknownMimeType;
    // An extension the table does not declare keeps the MIME database's more specific guess.
    if (const QString declared = declaredTypeForExtension(extension); !declared.isEmpty()) {
        if (const QString mimeType = preferredMimeType(declared); !mimeType.isEmpty())
            return mimeType;
    }
    return mimeTypeByName(QStringLiteral("x.") + extension).name();
}

} // namespace TypeRegistry
