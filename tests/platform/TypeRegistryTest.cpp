#include "TypeRegistry.h"

#include "PropertyList.h"
#include "QtPrinters.h"
#include "TemporaryHome.h"

#include <QDir>
#include <QFile>
#include <QMimeDatabase>
#include <QVariantMap>

#include <gtest/gtest.h>

namespace {

const QString declarations = QStringLiteral(":/types/UniformTypes.plist");

QString writeFile(const TemporaryHome &home, const QString &name, const QByteArray &content)
{
    QFile file(home.filePath(name));
    EXPECT_TRUE(file.open(QIODevice::WriteOnly)) << name.toStdString();
    file.write(content);
    return file.fileName();
}

TEST(TypeRegistryTest, TypesFilesByNameContentAndFolderKind)
{
    TemporaryHome home;
    const QByteArray png("\x89PNG\r\n\x1a\n\0\0\0\x0dIHDR\0\0\0\x01\0\0\0\x01\x08\x06\0\0\0", 29);
    const QByteArray binary("\x00\x01\x02\xff\xfe", 5);
    const struct {
        const char *name;
        QByteArray content;
        const char *uti;
    } files[] = {
        {"notes.txt", "plain words\n", "public.plain-text"},
        {"picture.txt", png, "public.png"},
        {"scan", png, "public.png"},
        {"report.docx", binary, "org.openxmlformats.wordprocessingml.document"},
        {"main.cpp", "int main() {}\n", "public.c-plus-plus-source"},
        {"bridge.mm", "int main() {}\n", "public.c-plus-plus-source"},
        {"shapes.hpp", "struct Shape;\n", "public.c-header"},
        {"build.cmake", "project(x)\n", "public.plain-text"},
        {"Makefile", QByteArray(), "public.plain-text"},
        {"first.qqz", binary, "dyn.ext-qqz"},
        {"SECOND.QQZ", QByteArray(), "dyn.ext-qqz"},
    };
    for (const auto &file : files)
        EXPECT_EQ(TypeRegistry::utiForFile(writeFile(home, file.name, file.content)), file.uti) << file.name;

    for (const char *folder : {"Photos", "Tool.app", "Letter.rtfd"})
        ASSERT_TRUE(QDir(home.path()).mkdir(folder));
    EXPECT_EQ(TypeRegistry::utiForFile(home.filePath("Photos")), "public.folder");
    EXPECT_EQ(TypeRegistry::utiForFile(home.filePath("Tool.app")), "com.apple.application-bundle");
    EXPECT_EQ(TypeRegistry::utiForFile(home.filePath("Letter.rtfd")), "com.apple.package");

    EXPECT_EQ(TypeRegistry::utiForFile(home.filePath("gone.pdf")), "com.adobe.pdf");
    EXPECT_EQ(TypeRegistry::utiForFile(home.filePath("gone")), "public.item");
    EXPECT_EQ(TypeRegistry::utiForFile(QString()), QString());
}

TEST(TypeRegistryTest, ConformanceFollowsTheTreeTransitively)
{
    const QString dynamic = TypeRegistry::preferredUtiForExtension("qqz");
    const struct {
        QString uti, parent;
        bool conforms;
    } pairs[] = {
        {"public.jpeg", "public.image", true},
        {"public.jpeg", "public.data", true},
        {"public.jpeg", "public.content", true},
        {"public.jpeg", "public.item", true},
        {"com.adobe.pdf", "public.data", true},
        {"public.folder", "public.directory", true},
        {"public.folder", "public.item", true},
        {"public.mpeg-4", "public.movie", true},
        {"public.video", "public.movie", true},
        {"public.c-plus-plus-source", "public.plain-text", true},
        {dynamic, "public.data", true},
        {dynamic, "public.item", true},
        {"com.example.unknown", "com.example.unknown", true},
        {"com.apple.application-bundle", "com.apple.package", true},
        {"public.image", "public.jpeg", false},
        {"public.folder", "public.data", false},
        {"public.mpeg-4-audio", "public.movie", false},
        {dynamic, "public.image", false},
        {"com.example.unknown", "public.item", false},
        {"", "public.item", false},
        {"public.jpeg", "", false},
    };
    for (const auto &pair : pairs)
        EXPECT_EQ(TypeRegistry::conformsTo(pair.uti, pair.parent), pair.conforms)
            << pair.uti.toStdString() << " " << pair.parent.toStdString();
}

// Catches slips in the data: parents that are not declared, and tags another type takes over.
TEST(TypeRegistryTest, EveryDeclaredTypeIsConsistentAndRoundTripsItsPreferredTags)
{
    const QVariantMap table = PropertyList::readFile(declarations).toMap();
    ASSERT_GT(table.size(), 100);
    for (auto it = table.cbegin(); it != table.cend(); ++it) {
        const QString &uti = it.key();
        const QVariantMap fields = it.value().toMap();
        SCOPED_TRACE(uti.toStdString());
        for (const QString &parent : fields.value("conformsTo").toStringList()) {
            EXPECT_TRUE(table.contains(parent)) << parent.toStdString();
            EXPECT_TRUE(TypeRegistry::conformsTo(uti, parent)) << parent.toStdString();
        }
        EXPECT_EQ(TypeRegistry::description(uti), fields.value("description").toString());
        EXPECT_FALSE(TypeRegistry::description(uti).isEmpty());

        const QString extension = fields.value("extensions").toStringList().value(0);
        EXPECT_EQ(TypeRegistry::preferredExtension(uti), extension);
        if (!extension.isEmpty()) {
            EXPECT_EQ(TypeRegistry::preferredUtiForExtension(extension), uti);
            const bool isDirectory = TypeRegistry::conformsTo(uti, "public.directory");
            EXPECT_TRUE(TypeRegistry::utisForExtension(extension.toUpper(), isDirectory).contains(uti));
        }
        const QString mimeType = fields.value("mimeTypes").toStringList().value(0);
        EXPECT_EQ(TypeRegistry::preferredMimeType(uti), mimeType);
        if (!mimeType.isEmpty()) {
            EXPECT_EQ(TypeRegistry::utiForMimeType(mimeType), uti);
        }
    }
}

TEST(TypeRegistryTest, MapsMimeTypesThroughParametersAliasesAndParents)
{
    EXPECT_EQ(TypeRegistry::utiForMimeType("TEXT/PLAIN; charset=utf-8"), "public.plain-text");
    EXPECT_EQ(TypeRegistry::utiForMimeType("application/x-pdf"), "com.adobe.pdf");
    EXPECT_EQ(TypeRegistry::utiForMimeType("text/x-c++hdr"), "public.c-header");
    EXPECT_EQ(TypeRegistry::utiForMimeType("application/x-compressed-tar"), "org.gnu.gnu-zip-tar-archive");
    EXPECT_EQ(TypeRegistry::utiForMimeType("application/x-bzip-compressed-tar"), "public.bzip2-archive");
    EXPECT_EQ(TypeRegistry::utiForMimeType(QString()), QString());

    const QString unknown = TypeRegistry::utiForMimeType("application/x-no-such-type");
    EXPECT_EQ(unknown, "dyn.mime-application-2fx-2dno-2dsuch-2dtype");
    EXPECT_EQ(TypeRegistry::preferredMimeType(unknown), "application/x-no-such-type");
    EXPECT_TRUE(TypeRegistry::conformsTo(unknown, "public.data"));

    // Known to the MIME database but declared by nobody: its tags and comment come from the database.
    const QString blender = TypeRegistry::utiForMimeType("application/x-blender");
    EXPECT_EQ(blender, "dyn.mime-application-2fx-2dblender");
    EXPECT_EQ(TypeRegistry::preferredExtension(blender), "blend");
    EXPECT_EQ(TypeRegistry::description(blender),
              QMimeDatabase().mimeTypeForName("application/x-blender").comment());
}

TEST(TypeRegistryTest, GivesUnknownExtensionsStableDynamicTypes)
{
    EXPECT_EQ(TypeRegistry::preferredUtiForExtension("QQZ"), "dyn.ext-qqz");
    EXPECT_EQ(TypeRegistry::preferredExtension("dyn.ext-qqz"), "qqz");
    EXPECT_EQ(TypeRegistry::description("dyn.ext-qqz"), "QQZ file");
    EXPECT_EQ(TypeRegistry::mimeTypeForExtension("qqz"), "application/octet-stream");
    EXPECT_TRUE(TypeRegistry::utisForExtension("qqz", false).isEmpty());

    const QString odd = QStringLiteral("Ünï-code~1");
    const QString oddType = TypeRegistry::preferredUtiForExtension(odd);
    EXPECT_EQ(oddType, "dyn.ext--c3-bcn-c3-af-2dcode-7e1");
    EXPECT_EQ(TypeRegistry::preferredExtension(oddType), odd.toLower());
    EXPECT_EQ(TypeRegistry::preferredExtension("dyn.ext-bad-zz"), QString());

    EXPECT_EQ(TypeRegistry::preferredUtiForExtension(QString()), QString());
    EXPECT_TRUE(TypeRegistry::utisForExtension(QString(), false).isEmpty());
    EXPECT_EQ(TypeRegistry::mimeTypeForExtension(QString()), "application/octet-stream");
    // Known to the MIME database only: typed through its parents, its MIME type kept as precise as known.
    EXPECT_EQ(TypeRegistry::preferredUtiForExtension("cmake"), "public.plain-text");
    EXPECT_EQ(TypeRegistry::mimeTypeForExtension("cmake"), "text/x-cmake");
    EXPECT_EQ(TypeRegistry::mimeTypeForExtension("JPG"), "image/jpeg");
}

} // namespace
