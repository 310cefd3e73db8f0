#include "InotifyWatcher.h"

#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <sys/stat.h>
#include <vector>

// Watch set-up over whole trees, side by side with `inotifywait -r` (inotify-tools) on the same trees in the
// same run: one generated tree of ten parts of 10,000 folders each, eight subfolders to a folder; a part is
// the 10,000-folder case and the whole the 100,000-folder one. Each side runs three times, alternating, and
// the median counts. inotifywait's time runs up to its "Watches established." line, less its time on a
// single folder, so that its process start does not count against it. Exits with status 1 when our set-up
// is slower.
namespace {

constexpr int parts = 10;
constexpr int foldersPerPart = 10'000;
constexpr int fanOut = 8;
constexpr int rounds = 3;

// `folderCount` folders: `root` and the ones below it, breadth first.
void makeTree(const QByteArray &root, int folderCount)
{
    std::vector<QByteArray> folders{root};
    mkdir(root.constData(), 0755);
    for (std::size_t parent = 0; int(folders.size()) < folderCount; ++parent) {
        for (int child = 0; child < fanOut && int(folders.size()) < folderCount; ++child) {
            folders.push_back(folders[parent] + "/d" + QByteArray::number(child));
            mkdir(folders.back().constData(), 0755);
        }
    }
}

double oursMs(const QString &root, qsizetype expectedWatches)
{
    QElapsedTimer clock;
    clock.start();
    InotifyWatcher watcher;
    watcher.watchTree(root);
    const double elapsed = double(clock.nsecsElapsed()) / 1e6;
    if (watcher.watchCount() != expectedWatches) {
        std::fprintf(stderr, "watched %lld folders of %lld\n", qlonglong(watcher.watchCount()),
                     qlonglong(expectedWatches));
        std::exit(2);
    }
    return elapsed;
}

double inotifywaitMs(const QString &root)
{
    QProcess process;
    QElapsedTimer clock;
    clock.start();
    process.setReadChannel(QProcess::StandardError);
    process.start(QStringLiteral("inotifywait"),
                  {"-r", "-m", "-e", "create,delete,modify,attrib,move", root});
    QByteArray err;
    while (!err.contains("Watches established.") && process.waitForReadyRead(120000))
        err += process.readAllStandardError();
    const double elapsed = double(clock.nsecsElapsed()) / 1e6;
    process.kill();
    process.waitForFinished();
    if (!err.contains("Watches established.")) {
        std::fprintf(stderr, "inotifywait did not set up its watches: %s\n", err.constData());
        std::exit(2);
    }
    return elapsed;
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

} // namespace

int main()
{
    if (QStandardPaths::findExecutable(QStringLiteral("inotifywait")).isEmpty()) {
        std::fprintf(stderr, "inotifywait is missing: install the inotify-tools package\n");
        return 2;
    }
    QTemporaryDir tree;
    for (int part = 0; part < parts; ++part)
        makeTree(QFile::encodeName(tree.filePath(QStringLiteral("part%1").arg(part))), foldersPerPart);
    QTemporaryDir single;

    bool faster = true;
    std::printf("%10s %12s %16s %18s\n", "folders", "ours (ms)", "inotifywait (ms)", "of which start (ms)");
    for (const auto &[root, folderCount] : {std::pair(tree.filePath(QStringLiteral("part0")), foldersPerPart),
                                            std::pair(tree.path(), parts * foldersPerPart + 1)}) {
        std::vector<double> ours, theirs, starts;
        for (int round = 0; round < rounds; ++round) {
            ours.push_back(oursMs(root, folderCount));
            theirs.push_back(inotifywaitMs(root));
            starts.push_back(inotifywaitMs(single.path()));
        }
        const double our = median(ours);
        const double their = median(theirs);
        const double start = median(starts);
        std::printf("%10d %12.1f %16.1f %18.1f\n", folderCount, our, their, start);
        faster = faster && our <= their - start;
    }
    std::printf(faster ? "ours is at most inotifywait's set-up time\n" : "ours is SLOWER than inotifywait\n");
    return faster ? 0 : 1;
}
