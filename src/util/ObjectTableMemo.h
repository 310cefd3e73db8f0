#pragma once

#include <QString>
#include <QVariant>

#include <vector>

// A value decoded from a table of numbered objects, with the number of nodes it stands for once every shared
// object inside it is expanded.
struct DecodedObject {
    QVariant value;
    quint64 weight = 0;
};

// Bookkeeping for decoders of object tables whose entries refer to each other by number (binary property
// lists, keyed archives): each entry is decoded once and then shared, an entry that contains itself is
// refused, and the expanded size is bounded so that a small file cannot describe an astronomically large
// tree.
class ObjectTableMemo {
public:
    explicit ObjectTableMemo(size_t count) : m_states(count, State::NotRead), m_entries(count) {}

    // The entry at `index` (which the caller has range-checked), decoded by `decode` on first use. A problem
    // is reported in `error` (the first one is kept) and gives an empty result.
    template <typename Decode> DecodedObject resolve(size_t index, QString &error, Decode &&decode)
    {
        switch (m_states[index]) {
        case State::Read:
            return count(m_entries[index].weight, error) ? m_entries[index] : DecodedObject();
        case State::Reading:
            setError(error, QStringLiteral("object %1 contains itself").arg(index));
            return {};
        case State::NotRead:
            break;
        }
        m_states[index] = State::Reading;
        DecodedObject decoded = decode();
        m_states[index] = State::Read;
        if (!error.isEmpty() || !count(1, error)) // its children counted themselves
            return {};
        m_entries[index] = decoded;
        return decoded;
    }

    // Counts a value that is not kept in the table (an inline scalar).
    bool countLeaf(QString &error) { return count(1, error); }

private:
    static constexpr quint64 maxExpandedObjects = 10'000'000;
    enum class State : quint8 { NotRead, Reading, Read };

    bool count(quint64 weight, QString &error)
    {
        m_total += weight;
        if (m_total <= maxExpandedObjects)
            return true;
        setError(error, QStringLiteral("the data expands to more than %1 objects").arg(maxExpandedObjects));
        return false;
    }

    static void setError(QString &error, const QString &text)
    {
        if (error.isEmpty())
            error = text;
    }

    std::vector<State> m_states;
    std::vector<DecodedObject> m_entries;
    quint64 m_total = 0;
};
