#include "KeyedArchive.h"
#include "PropertyList.h"
#include "SampleItem.h"

#include <QDateTime>

#include <benchmark/benchmark.h>

// Encoding and decoding a recent-items state at its largest: 151 events of 21 files each.
namespace {

constexpr int eventCount = 151;
constexpr int filesPerEvent = 21;

QVariantList fullRecentState()
{
    const QDateTime start = QDateTime(QDate(2026, 11, 1), QTime(8, 0), Qt::UTC);
    QVariantList events;
    for (int e = 0; e < eventCount; ++e) {
        const QString folder = QStringLiteral("/home/user/Documents/Projects/project-%1/chapter").arg(e);
        QVariantList files;
        for (int f = 0; f < filesPerEvent; ++f) {
            auto item = SampleItem::make(QStringLiteral("%1/draft of section %2.odt").arg(folder).arg(f),
                                         f % 3 == 0 ? 815000000.0 + e * 60 + f : 0);
            // Alias data of realistic size: device, inodes, name, path and mount point.
            static_cast<SampleItem *>(item.get())->alias = QByteArray(160, char('a' + f));
            files.append(QVariant::fromValue(item));
        }
        events.append(
            QVariantMap{{"path", folder}, {"date", start.addSecs(qint64(e) * 600)}, {"files", files}});
    }
    return events;
}

void encodeFullState(benchmark::State &state)
{
    const QVariantList events = fullRecentState();
    qsizetype bytes = 0;
    for (auto _ : state) {
        const QByteArray data = KeyedArchiver::archivedDataWithRootObject(events);
        bytes = data.size();
        benchmark::DoNotOptimize(data.constData());
    }
    state.counters["archive_bytes"] = double(bytes);
}
BENCHMARK(encodeFullState)->Unit(benchmark::kMillisecond);

void decodeFullState(benchmark::State &state)
{
    const QByteArray data = KeyedArchiver::archivedDataWithRootObject(fullRecentState());
    const KeyedUnarchiver::ClassTable classes = SampleItem::classes();
    for (auto _ : state) {
        const QVariant root = KeyedUnarchiver::unarchiveObjectWithData(data, classes);
        if (root.toList().size() != eventCount)
            state.SkipWithError("the archive did not decode");
        benchmark::DoNotOptimize(root);
    }
}
BENCHMARK(decodeFullState)->Unit(benchmark::kMillisecond);

void parseFullState(benchmark::State &state)
{
    const QByteArray data = KeyedArchiver::archivedDataWithRootObject(fullRecentState());
    for (auto _ : state)
        benchmark::DoNotOptimize(PropertyList::fromData(data));
}
BENCHMARK(parseFullState)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
