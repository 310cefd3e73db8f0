#include "Quendel.h"
#include "TemporaryHome.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QProcess>

#include <benchmark/benchmark.h>

// Tagging 10,000 files and reading their common tags, each beside the same work done by a shell loop of the
// attr package's setfattr/getfattr, one process per file as a script would do it.
namespace {

constexpr int fileCount = 10000;
const QStringList tags{"project", "draft", "review"};

class TaggedFolder {
public:
    TaggedFolder()
    {
        QDir().mkpath(home.filePath("Documents"));
        for (int i = 0; i < fileCount; ++i) {
            const QString path = home.filePath(QStringLiteral("Documents/file %1.txt").arg(i));
            QFile(path).open(QIODevice::WriteOnly);
            paths.append(path);
        }
    }

    // The command run by sh once per path, the paths coming on its standard input.
    void shellLoop(const QString &command) const
    {
        QProcess shell;
        shell.start("sh",
                    {"-c", "while IFS= read -r f; do " + command + " \"$f\" >/dev/null || exit 1; done"});
        shell.write(paths.join(u'\n').toUtf8() + '\n');
        shell.closeWriteChannel();
        shell.waitForFinished(-1);
        if (shell.exitCode() != 0)
            qFatal("shell loop failed: %s", shell.readAllStandardError().constData());
    }

    TemporaryHome home;
    QStringList paths;
};

std::unique_ptr<TaggedFolder> folder;

void setTags(benchmark::State &state)
{
    for (auto _ : state) {
        for (const QString &path : folder->paths) {
            if (Quendel::setUserTags(tags, path))
                state.SkipWithError("tag write failed");
        }
    }
}

void setfattrLoop(benchmark::State &state)
{
    for (auto _ : state)
        folder->shellLoop("setfattr -n user.xdg.tags -v project,draft,review");
}

void commonTags(benchmark::State &state)
{
    for (auto _ : state) {
        if (Quendel::getCommonUserTags(folder->paths) != tags)
            state.SkipWithError("wrong common tags");
    }
}

void getfattrLoop(benchmark::State &state)
{
    for (auto _ : state)
        folder->shellLoop("getfattr --only-values -n user.xdg.tags");
}

} // namespace

BENCHMARK(setTags)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(setfattrLoop)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(1);
// The first read of each file merges the scheme's tag attribute into the system tags once, writing twice.
BENCHMARK(commonTags)
    ->Name("commonTagsFirstRead")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(1);
BENCHMARK(commonTags)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(getfattrLoop)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(1);

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    folder = std::make_unique<TaggedFolder>();
    benchmark::RunSpecifiedBenchmarks();
    folder.reset();
    benchmark::Shutdown();
    return 0;
}
