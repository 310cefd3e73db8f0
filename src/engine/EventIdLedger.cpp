#include "EventIdLedger.h"

#include "Log.h"
#include "PropertyList.h"
#include "ReferenceTime.h"

#include <QFile>
#include <QVariantMap>

#include <algorithm>
#include <limits>

namespace {

const QString claimedKey = QStringLiteral("claimedThrough");
const QString checkpointsKey = QStringLiteral("checkpoints");
const QString idKey = QStringLiteral("id");
const QString dateKey = QStringLiteral("date");

// Ids set aside at each start below the live ids, one per replayed folder.
constexpr quint64 historyBlock = 2'000'000;
// Users of the stream take an id this far below the current one for history.
constexpr quint64 historyDistance = 1000;
// Ids claimed in the state file at a time, so that it is not written for every event.
constexpr quint64 claimAhead = 10'000;
constexpr double checkpointInterval = 60.0;
constexpr qsizetype maxCheckpoints = 128;
constexpr double replayWithoutCheckpoint = 86400.0;
// A start id beyond this did not come from us (ids grow by millions per run, not by 2^63), and treating it
// as a position would push the live ids towards overflow.
constexpr quint64 maxPlausibleID = std::numeric_limits<quint64>::max() / 2;

} // namespace

EventIdLedger::EventIdLedger(const QString &stateFile) : m_stateFile(stateFile)
{
    load();
}

void EventIdLedger::load()
{
    m_claimedThrough = 0;
    m_checkpoints.clear();
    if (QFile::exists(m_stateFile)) {
        QString error;
        const QVariant state = PropertyList::readFile(m_stateFile, &error);
        if (state.typeId() == QMetaType::QVariantMap) {
            const QVariantMap map = state.toMap();
            m_claimedThrough = map.value(claimedKey).toULongLong();
            for (const QVariant &entry : map.value(checkpointsKey).toList()) {
                const QVariantMap checkpoint = entry.toMap();
                m_checkpoints.append(
                    {checkpoint.value(idKey).toULongLong(), checkpoint.value(dateKey).toDouble()});
            }
            std::sort(m_checkpoints.begin(), m_checkpoints.end(),
                      [](const Checkpoint &a, const Checkpoint &b) { return a.id < b.id; });
        } else {
            // The collector's saved position still keeps the next ids above the ones it has seen.
            Log::line(
                QStringLiteral("Event ids start afresh: %1")
                    .arg(error.isEmpty() ? m_stateFile + QStringLiteral(" holds no event ids") : error));
        }
    }
    m_current = m_claimedThrough;
}

void EventIdLedger::save()
{
    if (m_stateFile.isEmpty())
        return;
    QVariantList checkpoints;
    for (const Checkpoint &checkpoint : std::as_const(m_checkpoints))
        checkpoints.append(
            QVariantMap{{idKey, QVariant::fromValue(checkpoint.id)}, {dateKey, checkpoint.date}});
    const QVariantMap state{{claimedKey, QVariant::fromValue(m_claimedThrough)},
                            {checkpointsKey, checkpoints}};
    QString error;
    if (!PropertyList::writeFile(m_stateFile, state, PropertyList::Format::Xml, &error))
        Log::line(QStringLiteral("Event ids could not be saved: %1").arg(error));
}

std::optional<double> EventIdLedger::beginRun(quint64 startEventID, double unsettledSeconds)
{
    load(); // another stream may have used the same file since
    m_unsettledSeconds = unsettledSeconds;
    m_replaying = startEventID != sinceNow;
    const quint64 saved = startEventID <= maxPlausibleID ? startEventID : 0;
    const quint64 base = std::max(m_replaying ? saved : 0, m_claimedThrough);
    m_nextHistoryID = base + 1;
    m_current = base + historyBlock - 1;
    m_lastHistoryID = m_current - historyDistance - 1;
    m_historyBlockFullReported = false;
    if (m_replaying)
        m_replaySince = dateOf(saved);
    addCheckpoint(m_current);
    return m_replaying ? std::optional(m_replaySince) : std::nullopt;
}

quint64 EventIdLedger::nextLiveID()
{
    const quint64 id = ++m_current;
    if (id >= m_claimedThrough || ReferenceTime::now() - m_lastCheckpointTime >= checkpointInterval)
        addCheckpoint(id);
    return id;
}

std::optional<quint64> EventIdLedger::nextHistoryID()
{
    if (m_nextHistoryID <= m_lastHistoryID)
        return m_nextHistoryID++;
    if (!m_historyBlockFullReported) {
        m_historyBlockFullReported = true;
        Log::line(QStringLiteral("Too many folders changed while Vantry was not running; the rest are not "
                                 "replayed"));
    }
    return std::nullopt;
}

void EventIdLedger::finishHistory()
{
    m_replaying = false;
}

void EventIdLedger::endRun()
{
    if (m_checkpoints.isEmpty() || m_checkpoints.last().id < m_current)
        addCheckpoint(m_current);
}

double EventIdLedger::dateOf(quint64 id) const
{
    for (auto checkpoint = m_checkpoints.crbegin(); checkpoint != m_checkpoints.crend(); ++checkpoint) {
        if (checkpoint->id <= id)
            return checkpoint->date;
    }
    return ReferenceTime::now() - replayWithoutCheckpoint;
}

double EventIdLedger::settledDate() const
{
    // While the replay runs, a saved position may hold live ids and yet miss replayed folders.
    return m_replaying ? m_replaySince : ReferenceTime::now() - m_unsettledSeconds;
}

void EventIdLedger::addCheckpoint(quint64 id)
{
    m_checkpoints.append({id, settledDate()});
    // Older checkpoints thin out while newer ones stay dense; the first stays as the floor for old ids.
    if (m_checkpoints.size() > maxCheckpoints) {
        for (qsizetype i = 1; i < m_checkpoints.size() / 2; ++i)
            m_checkpoints.removeAt(i);
    }
    m_claimedThrough = std::max(m_claimedThrough, id + claimAhead);
    m_lastCheckpointTime = ReferenceTime::now();
    save();
}
