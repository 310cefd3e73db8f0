#include "WatchCommand.h"

#include "FileSystemEventStream.h"
#include "QuitFlag.h"
#include "RecentListOutput.h"
#include "TerminationSignals.h"
#include "VNRecentFiles.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QTimer>

namespace WatchCommand {

namespace {

// Changes often come in bursts (a scan records several events); one list is printed per burst.
constexpr int coalesceMilliseconds = 50;

int run(CommandContext &context)
{
    QCommandLineParser parser;
    const QCommandLineOption jsonOption(QStringLiteral("json"));
    parser.addOption(jsonOption);
    if (!parseArguments(context, command, parser, 0, 0))
        return ExitUsage;
    const bool json = parser.isSet(jsonOption);

    FileSystemEventStream &stream = FileSystemEventStream::defaultFileSystemEventStream();
    VNRecentFiles recentFiles(registeredUserDefaults(), stream);
    QString printed;
    const auto printIfChanged = [&] {
        const QList<VNItemRef> items = RecentListOutput::currentList(recentFiles);
        const QString list = json ? RecentListOutput::json(items) + QLatin1Char('\n')
                                  : RecentListOutput::text(items) + QLatin1Char('\n');
        if (list == printed)
            return;
        printed = list;
        context.out << list;
        context.out.flush();
    };

    QTimer coalesce;
    coalesce.setSingleShot(true);
    coalesce.setInterval(coalesceMilliseconds);
    QObject::connect(&coalesce, &QTimer::timeout, printIfChanged);
    QObject::connect(&recentFiles, &VNRecentFiles::eventsChanged, &coalesce, qOverload<>(&QTimer::start));

    TerminationSignals terminationSignals;
    QObject::connect(&terminationSignals, &TerminationSignals::received, QCoreApplication::instance(),
                     &QCoreApplication::quit);

    recentFiles.start();
    printIfChanged();
    QCoreApplication::exec();

    QuitFlag::raise();
    VNRecentFiles::shutdown();
    return recentFiles.writeState() ? ExitSuccess : ExitFailure;
}

} // namespace

const Command command = {
    QStringLiteral("watch"),
    QStringLiteral("[--json]"),
    QStringLiteral("run the engine without a window; print the recent list when it changes"),
    QStringLiteral(
        "Watches the home folder (and mounted volumes of the user) for changed files and the desktop's\n"
        "record of opened documents, and prints the recent list at start and each time it changes:\n"
        "as text followed by a blank line, or with --json as one JSON array per line.\n"
        "SIGINT and SIGTERM save the state and end it with exit status 0."),
    run,
};

} // namespace WatchCommand
