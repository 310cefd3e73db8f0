#pragma once

#include <QList>
#include <QString>

#include <atomic>
#include <optional>

// Event ids for the file-system event stream, whose kernel service numbers nothing. Ids keep growing across
// runs and are never issued twice: they are claimed in the state file (a property list, written atomically)
// before they are used, so not even a crash lets a later run repeat one. Checkpoints (id, date) written as
// ids go out tell what moment a saved id stands for: every change after a checkpoint's date that had not
// been delivered by its id will be, with a higher id.
//
// Each run sets aside a block of ids for the replay of past changes ("history"); they stay more than a
// thousand below current() for the whole run, while live ids are current() itself.
//
// current() may be called from any thread; the rest belongs to the thread that runs the stream.
class EventIdLedger {
public:
    static constexpr quint64 sinceNow = ~quint64(0); // a start id that asks for no history

    // An empty stateFile keeps the ids in memory only, for a stream that never replays history.
    explicit EventIdLedger(const QString &stateFile);

    // The latest id issued; before the first run, the highest id ever claimed.
    quint64 current() const { return m_current; }

    // Begins a run. Unless `startEventID` is sinceNow, returns the moment (seconds since 2001) after which
    // changes are to be replayed: the date of the latest checkpoint at or below `startEventID`, else one day
    // back. `unsettledSeconds`: how long a change may wait before it is delivered.
    std::optional<double> beginRun(quint64 startEventID, double unsettledSeconds);
    quint64 nextLiveID();
    // Ids for replayed changes; none once the run's block is used up.
    std::optional<quint64> nextHistoryID();
    void finishHistory();
    // Saves the position reached.
    void endRun();

private:
    struct Checkpoint {
        quint64 id;
        double date;
    };

    void load();
    void save();
    double dateOf(quint64 id) const;
    // The moment up to which every change has been delivered, or will be replayed.
    double settledDate() const;
    void addCheckpoint(quint64 id);

    QString m_stateFile;
    std::atomic<quint64> m_current = 0;
    quint64 m_claimedThrough = 0;
    QList<Checkpoint> m_checkpoints; // by ascending id
    double m_lastCheckpointTime = 0;
    double m_unsettledSeconds = 0;
    bool m_replaying = false;
    double m_replaySince = 0;
    quint64 m_nextHistoryID = 0;
    quint64 m_lastHistoryID = 0;
    bool m_historyBlockFullReported = false;
};
