#include "StringPattern.h"

StringOptions StringOptions::fromLetters(const QString &letters)
{
    StringOptions options;
    options.caseInsensitive = letters.contains(QLatin1Char('c'));
    options.diacriticInsensitive = letters.contains(QLatin1Char('d'));
    options.wordBased = letters.contains(QLatin1Char('w'));
    return options;
}

QString StringOptions::letters() const
{
    QString result;
    if (caseInsensitive)
        result += QLatin1Char('c');
    if (diacriticInsensitive)
        result += QLatin1Char('d');
    if (wordBased)
        result += QLatin1Char('w');
    return result;
}

StringPattern::StringPattern(const QString &source, StringOptions options) : m_options(options)
{
    QString literal;
    auto flushLiteral = [&] {
        if (literal.isEmpty())
            return;
        m_pieces.append(Piece::Literal);
        m_literals.append(fold(literal, options.caseInsensitive, options.diacriticInsensitive));
        literal.clear();
    };
    for (int i = 0; i < source.size(); ++i) {
        const QChar c = source.at(i);
        if (c == QLatin1Char('\\') && i + 1 < source.size()) {
            literal += source.at(++i);
        } else if (c == QLatin1Char('*')) {
            flushLiteral();
            if (m_pieces.isEmpty() || m_pieces.last() != Piece::AnyRun)
                m_pieces.append(Piece::AnyRun);
        } else if (c == QLatin1Char('?')) {
            flushLiteral();
            m_pieces.append(Piece::AnyOne);
        } else {
            literal += c;
        }
    }
    flushLiteral();
}

std::u32string StringPattern::leadingLiteral() const
{
    return !m_pieces.isEmpty() && m_pieces.first() == Piece::Literal ? m_literals.first() : std::u32string();
}

bool StringPattern::isPrefix() const
{
    return m_pieces.size() == 2 && m_pieces.first() == Piece::Literal && m_pieces.last() == Piece::AnyRun;
}

std::u32string StringPattern::fold(const QString &text, bool caseInsensitive, bool diacriticInsensitive)
{
    QString folded = text;
    if (diacriticInsensitive) {
        const QString decomposed = text.normalized(QString::NormalizationForm_D);
        folded.clear();
        for (const QChar c : decomposed) {
            if (!c.isMark())
                folded += c;
        }
    }
    if (caseInsensitive)
        folded = folded.toCaseFolded();
    return folded.toStdU32String();
}

QStringList StringPattern::words(const QString &text)
{
    QStringList result;
    QString word;
    const std::u32string scalars = text.toStdU32String();
    char32_t previous = 0;
    for (const char32_t c : scalars) {
        const bool wordCharacter = QChar::isLetterOrNumber(c) || QChar::isMark(c);
        const bool caseTransition = QChar::isLower(previous) && QChar::isUpper(c);
        if ((!wordCharacter || caseTransition) && !word.isEmpty()) {
            result.append(word);
            word.clear();
        }
        if (wordCharacter)
            word += QString::fromUcs4(&c, 1);
        previous = c;
    }
    if (!word.isEmpty())
        result.append(word);
    return result;
}

bool StringPattern::matches(const QString &value) const
{
    const auto folded = [this](const QString &text) {
        return fold(text, m_options.caseInsensitive, m_options.diacriticInsensitive);
    };
    if (!m_options.wordBased)
        return matchesFolded(folded(value));
    const QStringList valueWords = words(value);
    return std::any_of(valueWords.begin(), valueWords.end(),
                       [&](const QString &word) { return matchesFolded(folded(word)); });
}

// Greedy glob matching with backtracking to the last `*`, over Unicode scalars.
bool StringPattern::matchesFolded(const std::u32string &value) const
{
    qsizetype piece = 0, literalIndex = 0;
    size_t position = 0;
    qsizetype starPiece = -1, starLiteral = 0;
    size_t starPosition = 0;
    while (true) {
        if (piece < m_pieces.size()) {
            switch (m_pieces.at(piece)) {
            case Piece::AnyRun:
                starPiece = ++piece;
                starLiteral = literalIndex;
                starPosition = position;
                continue;
            case Piece::AnyOne:
                if (position < value.size()) {
                    ++piece;
                    ++position;
                    continue;
                }
                break;
            case Piece::Literal: {
                const std::u32string &literal = m_literals.at(literalIndex);
                if (value.compare(position, literal.size(), literal) == 0) {
                    ++piece;
                    ++literalIndex;
                    position += literal.size();
                    continue;
                }
                break;
            }
            }
        } else if (position == value.size()) {
            return true;
        }
        if (starPiece < 0 || starPosition >= value.size())
            return false;
        piece = starPiece;
        literalIndex = starLiteral;
        position = ++starPosition;
    }
}
