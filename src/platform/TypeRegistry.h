#pragma once

#include <QString>
#include <QStringList>

// Uniform Type Identifiers for the files of this system. Our table of declared types (resources/types/
// UniformTypes.plist) gives the identifiers, their conformance tree, preferred extensions, MIME types and
// descriptions; the shared MIME database recognises files and fills in what the table does not name.
//
// A type nobody declares gets a dynamic identifier that spells out the tag it stands for, the same on every
// run and machine: "dyn.ext-" followed by the extension, or "dyn.mime-" followed by the MIME type, both
// lower-cased, with each byte of their UTF-8 form other than a-z, 0-9 and "." written as "-" and two
// lower-case hex digits ("qqz" → "dyn.ext-qqz", "application/x-blender" →
// "dyn.mime-application-2fx-2dblender").
//
// Extensions are given without their dot and compared without regard to case. The table is loaded once and
// never changes, so every operation may be called from any thread.
namespace TypeRegistry {

// The declared type of a MIME type (parameters such as charset ignored), else that of its nearest alias or
// parent type, else a "dyn." type. Empty for an empty MIME type.
QString utiForMimeType(const QString &mimeType);

// Every declared type listing the extension, those that prefer it first, restricted to the types conforming
// to "public.directory" when `isDirectory` and to "public.item" otherwise. Empty when none does.
QStringList utisForExtension(const QString &extension, bool isDirectory);

// The declared type of the extension, else the type of the MIME database's guess for a file so named, else a
// "dyn." type. Empty for an empty extension.
QString preferredUtiForExtension(const QString &extension);

// The type of the item at `path`: "public.folder" for a folder, the bundle type or "com.apple.package" for a
// package folder, otherwise recognised by name and content. A file that cannot be read is typed by its name;
// a missing one with a name that tells nothing is "public.item". Empty for an empty path.
QString utiForFile(const QString &path);

// Whether `uti` is `parent` or conforms to it through the tree. "dyn." types conform to "public.data" and
// "public.item".
bool conformsTo(const QString &uti, const QString &parent);
// The type and every type it conforms to, the type first; empty for an empty identifier.
QStringList conformanceTree(const QString &uti);

// The preferred tags of a type; empty when it has none.
QString preferredExtension(const QString &uti);
QString preferredMimeType(const QString &uti);

// A short human description: the table's, else the MIME database's for the type's MIME type, else one made
// from the extension ("QQZ file"). Empty for a type with neither.
QString description(const QString &uti);

// The MIME type of files with the extension; "application/octet-stream" when nothing more specific is known.
QString mimeTypeForExtension(const QString &extension);

} // namespace TypeRegistry
