#pragma once

#include <QString>
#include <QStringList>

// The program's user-visible texts, looked up by key in tables built into the program from
// resources/strings/<Table>.plist, each a dictionary of strings.
namespace StringTable {

// The text for `key`, or an empty string if the table or the key is missing.
QString localized(const QString &key, const QString &table = QStringLiteral("Localizable"));

// Replaces every "%1" to "%4" in `text` by the matching element of `arguments`, in one pass, so placeholders
// inside the arguments stay as they are. A placeholder without an argument stays in the text.
QString substitute(const QString &text, const QStringList &arguments);

} // namespace StringTable
