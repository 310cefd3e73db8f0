#pragma once

#include <QString>
#include <QStringList>

// The text forms tags travel in: the space-separated form (‘work "two words"’), the prefixed line form
// (‘&work &"two words"’) and the cleaning every parser applies. A tag holding a space is written between
// straight double quotes.
class TagText {
public:
    TagText() = delete;

    // Trims spaces (only U+0020) at both ends, removes line feeds and carriage returns, turns "%20" into a
    // space. Tabs stay.
    static QString cleanTag(const QString &tag);

    // The tag, in double quotes when it holds a space.
    static QString formattedTag(const QString &tag);
    // The tags through formattedTag(), joined by single spaces.
    static QString tagFormattedStringOld(const QStringList &tags);
    // Each tag preceded by `prefix` and passed through formattedTag(), joined by single spaces.
    static QString tagFormattedStringPrefix(const QStringList &tags, const QString &prefix);

    // Tags parsed from the space-separated form. A tag ending in ':' is joined with the next (‘key: value’
    // reads ‘key:value’); one leading '&' is dropped; repeats ignoring case keep the first spelling.
    static QStringList arrayWithTagFormattedStringOld(const QString &text);
    // Tags parsed from the prefixed form; text between prefixed words is ignored.
    static QStringList arrayWithTagFormattedString(const QString &text, const QString &prefix);

    // The text between the localised opening and closing quotes, for messages shown to the user.
    static QString stringByAddingQuotes(const QString &text);
};
