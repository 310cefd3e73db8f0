#include "TagText.h"

#include "StringTable.h"
#include "TagLists.h"

namespace {

const QString quote = QStringLiteral("\"");

// Cleaned, without empty tags and repeats.
QStringList keptTags(const QStringList &tags)
{
    QStringList kept;
    for (const QString &tag : tags) {
        const QString cleaned = TagText::cleanTag(tag);
        if (!cleaned.isEmpty())
            kept.append(cleaned);
    }
    return TagLists::removeDuplicateCaseInsensitiveStrings(kept);
}

// The pieces of the space-separated form, a quoted run counting as one piece.
QStringList quotedPieces(const QString &text)
{
    const QStringList pieces = QString(text).replace(quote, QStringLiteral(" \" ")).split(QLatin1Char(' '));
    QStringList tags;
    for (qsizetype i = 0; i < pieces.size(); ++i) {
        if (pieces[i].isEmpty())
            continue;
        if (pieces[i] != quote) {
            tags.append(pieces[i].trimmed());
            continue;
        }
        QString joined;
        while (++i < pieces.size() && !pieces[i].contains(quote))
            joined += pieces[i] + QLatin1Char(' ');
        tags.append(joined.trimmed());
    }
    return tags;
}

} // namespace

QString TagText::cleanTag(const QString &tag)
{
    qsizetype begin = 0;
    qsizetype end = tag.size();
    while (begin < end && tag[begin] == QLatin1Char(' '))
        ++begin;
    while (end > begin && tag[end - 1] == QLatin1Char(' '))
        --end;
    return tag.mid(begin, end - begin)
        .remove(QLatin1Char('\n'))
        .remove(QLatin1Char('\r'))
        .replace(QStringLiteral("%20"), QStringLiteral(" "));
}

QString TagText::formattedTag(const QString &tag)
{
    return tag.contains(QLatin1Char(' ')) ? quote + tag + quote : tag;
}

QString TagText::tagFormattedStringOld(const QStringList &tags)
{
    return tagFormattedStringPrefix(tags, QString());
}

QString TagText::tagFormattedStringPrefix(const QStringList &tags, const QString &prefix)
{
    QStringList formatted;
    formatted.reserve(tags.size());
    for (const QString &tag : tags)
        formatted.append(prefix + formattedTag(tag));
    return formatted.join(QLatin1Char(' ')).trimmed();
}

QStringList TagText::arrayWithTagFormattedStringOld(const QString &text)
{
    const QStringList pieces = quotedPieces(text);
    QStringList tags;
    for (qsizetype i = 0; i < pieces.size(); ++i) {
        QString tag = pieces[i];
        while (tag.endsWith(QLatin1Char(':')) && i + 1 < pieces.size())
            tag += pieces[++i];
        tag = cleanTag(tag);
        if (tag.startsWith(QLatin1Char('&')))
            tag.remove(0, 1);
        tags.append(tag);
    }
    return keptTags(tags);
}

QStringList TagText::arrayWithTagFormattedString(const QString &text, const QString &prefix)
{
    const QString marker = QLatin1Char(' ') + prefix;
    const QString quotedMarker = marker + quote;
    const QString quotedEnd = QStringLiteral("\" ");

    QStringList tags;
    QString rest = QLatin1Char(' ') + text + QLatin1Char(' ');
    for (qsizetype found = rest.indexOf(marker); found >= 0; found = rest.indexOf(marker)) {
        const bool quoted = QStringView(rest).sliced(found).startsWith(quotedMarker);
        const qsizetype begin = found + (quoted ? quotedMarker.size() : marker.size());
        const qsizetype end = quoted ? rest.indexOf(quotedEnd, begin) : rest.indexOf(QLatin1Char(' '), begin);
        const QString tag = rest.mid(begin, end < 0 ? -1 : end - begin).trimmed();
        if (!tag.isEmpty())
            tags.append(tag);
        if (end < 0)
            break;
        const QString remainder = rest.mid(end + (quoted ? quotedEnd.size() : 1));
        if (remainder.isEmpty())
            break;
        rest = QLatin1Char(' ') + remainder;
    }
    return keptTags(tags);
}

QString TagText::stringByAddingQuotes(const QString &text)
{
    const QString table = QStringLiteral("NonLocalized");
    return StringTable::localized(QStringLiteral("KPOpenQuote"), table) + text +
           StringTable::localized(QStringLiteral("KPCloseQuote"), table);
}
