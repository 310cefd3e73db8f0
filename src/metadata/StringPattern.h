#pragma once

#include <QList>
#include <QString>

#include <string>

// Comparison options of a string value: letters c, d, w (t is accepted and has no effect).
struct StringOptions {
    bool caseInsensitive = false;
    bool diacriticInsensitive = false;
    bool wordBased = false;

    static StringOptions fromLetters(const QString &letters);
    QString letters() const;
};

// A string value of the query language: `*` any run, `?` one Unicode scalar, `\x` a literal x, anchored at
// both ends; with the word option it must match one whole word of the value.
class StringPattern {
public:
    StringPattern() = default;
    StringPattern(const QString &source, StringOptions options);

    bool matches(const QString &value) const;

    // The literal runs between wildcards, folded as fold() does: what any match must contain.
    const QList<std::u32string> &literals() const { return m_literals; }
    // The literal text before the first wildcard, folded; empty when the pattern starts with one.
    std::u32string leadingLiteral() const;
    // True for one literal followed by `*`: a plain prefix.
    bool isPrefix() const;

    // Case folding and diacritic removal (NFD, combining marks dropped), as selected.
    static std::u32string fold(const QString &text, bool caseInsensitive, bool diacriticInsensitive);
    // Words start at the value's start, after any character that is not a letter, digit or mark, and at a
    // lower-to-upper case transition.
    static QStringList words(const QString &text);

private:
    enum class Piece { Literal, AnyOne, AnyRun };
    bool matchesFolded(const std::u32string &value) const;

    StringOptions m_options;
    QList<Piece> m_pieces;
    QList<std::u32string> m_literals; // one per Literal piece, in order
};
