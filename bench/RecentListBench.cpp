#include "DefaultsTable.h"
#include "FileSystemEventStream.h"
#include "TemporaryHome.h"
#include "UserDefaults.h"
#include "VNRecentFiles.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>

#include <benchmark/benchmark.h>

// Building the main list from a full state: 151 events of up to 21 real files, in a temporary home.
namespace {

constexpr int eventCount = 151;
constexpr int filesPerEvent = 21;

// Made once per shape: the benchmark library calls the benchmark several times while it sizes the runs.
class FullState {
public:
    // allStacks: every event holds 21 files (so every event is a stack); otherwise mostly small events of
    // single files with a stack every fifth event, as a working day leaves them.
    explicit FullState(bool allStacks)
        : defaults(home.filePath(".config/Vantry/Vantry.plist")),
          stream(home.filePath(".local/share/Vantry/eventStream.plist")),
          collector(defaults, stream, home.filePath(".local/share/Vantry/recentItems.plist"))
    {
        defaults.registerDefaults(DefaultsTable::registrationDomain());
        for (int e = 0; e < eventCount; ++e) {
            const QString folder = home.filePath(QStringLiteral("Documents/project%1/chapter").arg(e));
            QDir().mkpath(folder);
            QList<VNItemRef> files;
            const int count = allStacks || e % 5 == 0 ? filesPerEvent : 1 + e % 3;
            for (int f = 0; f < count; ++f) {
                const QString path = QStringLiteral("%1/section %2.odt").arg(folder).arg(f);
                QFile file(path);
                file.open(QIODevice::WriteOnly);
                file.write("text");
                file.close();
                auto item = std::make_shared<VNItem>(path);
                item->calculateCache();
                files.append(item);
            }
            collector.addEvent(files, folder);
        }
    }

    TemporaryHome home;
    UserDefaults defaults;
    FileSystemEventStream stream;
    VNRecentFiles collector;
};

// Ended before the application object, as the engine's threads need it to wind down.
std::unique_ptr<FullState> states[2];

void buildMainList(benchmark::State &state)
{
    std::unique_ptr<FullState> &fixture = states[state.range(0)];
    if (!fixture)
        fixture = std::make_unique<FullState>(state.range(0) == 1);
    VNRecentFiles &collector = fixture->collector;
    qsizetype length = 0;
    for (auto _ : state) {
        const QList<VNItemRef> list = collector.recentFiles();
        length = list.size();
        benchmark::DoNotOptimize(list.constData());
    }
    state.counters["entries"] = double(length);
}
BENCHMARK(buildMainList)->Arg(1)->Arg(0)->Unit(benchmark::kMicrosecond);

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    for (std::unique_ptr<FullState> &fixture : states)
        fixture.reset();
    return 0;
}
