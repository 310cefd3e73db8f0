#include "RecentCommand.h"

#include "FileSystemEventStream.h"
#include "RecentListOutput.h"
#include "VNRecentFiles.h"

#include <QCommandLineParser>
#include <QDir>

namespace RecentCommand {

namespace {

int run(CommandContext &context)
{
    QCommandLineParser parser;
    const QCommandLineOption jsonOption(QStringLiteral("json"));
    const QCommandLineOption folderOption(QStringLiteral("folder"), QString(), QStringLiteral("DIR"));
    parser.addOptions({jsonOption, folderOption});
    if (!parseArguments(context, command, parser, 0, 0))
        return ExitUsage;

    QString folder = parser.value(folderOption);
    if (parser.isSet(folderOption)) {
        // Recorded folders are absolute and have no trailing "/".
        folder = QDir::cleanPath(QDir::current().absoluteFilePath(folder));
    }
    VNRecentFiles recentFiles(registeredUserDefaults(),
                              FileSystemEventStream::defaultFileSystemEventStream());
    const QList<VNItemRef> items = RecentListOutput::currentList(recentFiles, folder);
    if (parser.isSet(jsonOption))
        context.out << RecentListOutput::json(items) << '\n';
    else
        context.out << RecentListOutput::text(items);
    context.out.flush();
    return ExitSuccess;
}

} // namespace

const Command command = {
    QStringLiteral("recent"),
    QStringLiteral("[--json] [--folder DIR]"),
    QStringLiteral("print the recent list as the saved state gives it"),
    QStringLiteral(
        "Prints the recent list, newest first: one line per entry, the path, then a tab and\n"
        "\"stack of N\" for a stack of files changed together in one folder.\n\n"
        "  --folder DIR   the recent files of one folder (a stack's folder) instead\n"
        "  --json         one JSON array of {\"path\", \"date\", \"stack\", \"count\", \"members\"}"),
    run,
};

} // namespace RecentCommand
