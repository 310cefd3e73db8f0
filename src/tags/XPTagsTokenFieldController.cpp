#include "XPTagsTokenFieldController.h"

#include "TagLists.h"
#include "TagText.h"
#include "UserDefaults.h"

#include <QSet>

#include <algorithm>

namespace {

const QChar quote = QLatin1Char('"');
const QString useCommasKey = QStringLiteral("KPUseCommas");

// The line-end characters and the horizontal white space of Unicode (category Zs and the tab).
const QString newlineCharacters = QStringLiteral("\n\u000B\u000C\r\u0085\u2028\u2029");
const QString whitespaceCharacters =
    QStringLiteral(" \t\u00A0\u1680\u2000\u2001\u2002\u2003\u2004\u2005\u2006"
                   "\u2007\u2008\u2009\u200A\u202F\u205F\u3000");

// Pastes larger than the field accepts arrive as this marker.
const QString rejectedPasteTooBig = QStringLiteral("rejectedPasteTooBig");
constexpr qsizetype longestTag = 200;
constexpr qsizetype mostTagsAdded = 50;
constexpr qsizetype shortestSplitText = 40;
constexpr qsizetype completionRows = 16;

} // namespace

XPTagsTokenFieldController::XPTagsTokenFieldController(const UserDefaults &defaults, QObject *parent)
    : QObject(parent), m_defaults(defaults), m_tokenizingCharacters(defaultWithNewLine())
{
}

QString XPTagsTokenFieldController::displayStringToUserString(const QString &tag)
{
    return TagText::formattedTag(TagText::cleanTag(tag));
}

QString XPTagsTokenFieldController::userStringToDisplayString(const QString &text)
{
    if (text.isNull())
        return {};
    if (text.startsWith(quote) && text.endsWith(quote))
        return TagText::cleanTag(QString(text).remove(quote));
    return TagText::cleanTag(text);
}

QStringList XPTagsTokenFieldController::tagDisplayNamesForEditingStrings(const QStringList &strings,
                                                                         bool removeDuplicates)
{
    QStringList tags;
    QSet<QString> added;
    for (const QString &string : strings) {
        if (string.isEmpty())
            continue;
        const QString tag = userStringToDisplayString(string);
        if (tag.isEmpty() || (removeDuplicates && added.contains(tag)))
            continue;
        added.insert(tag);
        tags.append(tag);
    }
    return tags;
}

QStringList XPTagsTokenFieldController::grepStringForTags(const QString &text, const UserDefaults &defaults)
{
    QStringList tags;
    if (text.isEmpty())
        return tags;
    if (text.contains(quote))
        tags = TagText::arrayWithTagFormattedStringOld(text);
    else if (text.contains(QLatin1Char(',')))
        tags = text.split(QLatin1Char(','));
    else if (defaults.boolValue(useCommasKey) && text.size() < shortestSplitText)
        tags = QStringList{text};
    else
        tags = TagText::arrayWithTagFormattedStringOld(text);
    return tagDisplayNamesForEditingStrings(tags, true);
}

QString XPTagsTokenFieldController::defaultWithNewLine()
{
    return QLatin1Char(',') + newlineCharacters;
}

void XPTagsTokenFieldController::setTokenizingCharacterSetBasedOnWhatsTyped(const QString &typed)
{
    if (m_defaults.boolValue(useCommasKey))
        m_tokenizingCharacters = defaultWithNewLine();
    else if (typed.startsWith(quote) && !(typed.size() > 1 && typed.endsWith(quote)))
        m_tokenizingCharacters = newlineCharacters;
    else
        m_tokenizingCharacters = whitespaceCharacters + newlineCharacters;
}

QStringList XPTagsTokenFieldController::tokenFieldShouldAddObjects(const QStringList &strings)
{
    const auto spaced = [](const QString &string) {
        return QString(string).replace(QStringLiteral("%20"), QStringLiteral(" "));
    };

    QStringList tags;
    for (qsizetype i = 0; i < strings.size(); ++i) {
        QString tag = spaced(strings[i]);
        if (tag.startsWith(quote)) {
            // While spaces end tokens, a quoted tag arrives in pieces: join them up to the closing quote.
            QStringList run{tag.sliced(1)};
            while (!run.last().endsWith(quote) && i + 1 < strings.size())
                run.append(spaced(strings[++i]));
            if (run.last().endsWith(quote))
                run.last().chop(1);
            if (run.size() > 1 && run.last().isEmpty())
                run.removeLast();
            tag = run.join(QLatin1Char(' '));
        }
        if (tag == rejectedPasteTooBig || tag.size() > longestTag) {
            Q_EMIT beep();
            return {};
        }
        tag = TagText::cleanTag(tag.remove(quote));
        if (!tag.isEmpty())
            tags.append(tag);
        if (tags.size() > mostTagsAdded) {
            Q_EMIT beep();
            return {};
        }
    }
    return tags;
}

QStringList XPTagsTokenFieldController::tokenFieldCompletionsForSubstring(const QString &substring,
                                                                          const QStringList &fieldTokens,
                                                                          int screenCount)
{
    setTokenizingCharacterSetBasedOnWhatsTyped(substring);
    if (m_defaults.boolValue(QStringLiteral("XPSkipTagAutoComplete")))
        return {};
    const bool quoted = substring.startsWith(quote);
    const QString typed = quoted ? substring.sliced(1) : substring;
    if (typed.isEmpty())
        return {};

    QStringList tokens = fieldTokens;
    const qsizetype typedToken = TagLists::indexOfCaseInsensitiveString(tokens, typed);
    if (typedToken >= 0)
        tokens.removeAt(typedToken);
    const bool useCommas = m_defaults.boolValue(useCommasKey);

    QSet<QString> completions;
    for (const QString &candidate : std::as_const(m_completionCandidates)) {
        if (tokens.contains(candidate) || !candidate.startsWith(typed, Qt::CaseInsensitive))
            continue;
        QString completion = typed + candidate.sliced(typed.size());
        if (!useCommas && !quoted)
            completion.replace(QLatin1Char(' '), QStringLiteral("%20"));
        completions.insert(quoted ? quote + completion : completion);
    }

    QStringList sorted(completions.cbegin(), completions.cend());
    std::sort(sorted.begin(), sorted.end(), [](const QString &a, const QString &b) {
        const int order = a.compare(b, Qt::CaseInsensitive);
        return order != 0 ? order < 0 : a < b;
    });
    if (screenCount < 2)
        return sorted;
    sorted = sorted.mid(0, completionRows);
    while (sorted.size() < completionRows)
        sorted.append(QString());
    return sorted;
}
