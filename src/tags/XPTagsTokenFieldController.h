#pragma once

#include <QObject>
#include <QString>
#include <QStringList>

class UserDefaults;

// The rules of the tag editor's token field, apart from the widget: how typed and pasted text splits into
// tags, how a tag is edited as text, and which completions are offered. A tag with a space is edited in
// double quotes; while spaces end tokens, a space inside a completed tag travels as "%20".
//
// Reads "KPUseCommas" (commas and line ends separate tags, spaces belong to them) and
// "XPSkipTagAutoComplete".
class XPTagsTokenFieldController : public QObject {
    Q_OBJECT

public:
    explicit XPTagsTokenFieldController(const UserDefaults &defaults, QObject *parent = nullptr);

    // The editing string of a token: the cleaned tag, quoted when it holds a space.
    static QString displayStringToUserString(const QString &tag);
    // The tag of an edited string: quotes dropped when the text is quoted as a whole, then cleaned. Null for
    // a null string.
    static QString userStringToDisplayString(const QString &text);
    // Each non-empty string through userStringToDisplayString(), empty results left out; with
    // `removeDuplicates`, a tag already added with exactly the same spelling is not added again.
    static QStringList tagDisplayNamesForEditingStrings(const QStringList &strings, bool removeDuplicates);
    // The tags in a free text such as a paste: quoted text and long texts split at spaces, otherwise at
    // commas; with commas on, a short text without commas is one tag.
    static QStringList grepStringForTags(const QString &text, const UserDefaults &defaults);
    // The comma and all line-end characters.
    static QString defaultWithNewLine();

    // Recently entered tags and the user's own words, offered as completions.
    void setCompletionCandidates(const QStringList &candidates) { m_completionCandidates = candidates; }

    // The characters that end a token while typing; the widget applies them.
    QString tokenizingCharacters() const { return m_tokenizingCharacters; }
    // Lets spaces be typed inside a tag when commas separate tags or while a quoted tag is being typed.
    void setTokenizingCharacterSetBasedOnWhatsTyped(const QString &typed);

    // The tags to add for the strings the field wants to add, in order. A quoted run of strings is one tag.
    // Refuses the whole addition (empty result, beep()) for an oversized paste, a tag of 201 characters or
    // more, or more than 50 tags.
    QStringList tokenFieldShouldAddObjects(const QStringList &strings);
    // Completions for the text being typed: candidates starting with it, ignoring case and keeping the case
    // as typed, that are not already tokens of the field. With two or more screens the list is always 16
    // long, padded with empty strings, so that the completion menu keeps its height.
    QStringList tokenFieldCompletionsForSubstring(const QString &substring, const QStringList &fieldTokens,
                                                  int screenCount);

Q_SIGNALS:
    // An addition was refused; the editor sounds the system beep.
    void beep();

private:
    const UserDefaults &m_defaults;
    QStringList m_completionCandidates;
    QString m_tokenizingCharacters;
};
