#include "QueryCommand.h"

#include "FileSystemEventStream.h"
#include "LiveQuery.h"
#include "MetadataCrawler.h"
#include "MetadataIndex.h"
#include "MetadataIndexFeeder.h"
#include "QueryParser.h"
#include "ReferenceTime.h"
#include "TagStoreAttributes.h"
#include "TerminationSignals.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTimer>

namespace QueryCommand {

namespace {

// How often a live query looks for commits of other processes (the desktop program's own feeder).
constexpr int livePollMilliseconds = 500;
// Changes of a folder are gathered this long before the folder is read again.
constexpr double liveLatency = 0.2;

// {"path", "name", "uti", "size", "modified"} of each path, from the index.
class JsonRecords {
public:
    explicit JsonRecords(MetadataIndex &index)
        : m_read(index.database().prepare(
              QStringLiteral("SELECT name, uti, size, modified FROM files WHERE path = ?")))
    {
    }

    QJsonObject record(const QString &path)
    {
        QJsonObject object{{"path", path}};
        if (m_read.isValid() && m_read.bind(1, path) && m_read.step()) {
            object.insert("name", m_read.columnText(0));
            object.insert("uti", m_read.columnText(1));
            object.insert("size", m_read.columnIsNull(2) ? QJsonValue() : QJsonValue(m_read.columnInt64(2)));
            object.insert(
                "modified",
                m_read.columnIsNull(3)
                    ? QJsonValue()
                    : QJsonValue(
                          ReferenceTime::toDateTime(m_read.columnDouble(3)).toString(Qt::ISODateWithMs)));
        }
        m_read.reset();
        return object;
    }

    QJsonArray records(const QStringList &paths)
    {
        QJsonArray array;
        for (const QString &path : paths)
            array.append(record(path));
        return array;
    }

private:
    SqliteStatement m_read;
};

void printResults(CommandContext &context, JsonRecords *json, const QStringList &paths)
{
    if (json) {
        context.out << QJsonDocument(json->records(paths)).toJson(QJsonDocument::Compact) << '\n';
    } else {
        for (const QString &path : paths)
            context.out << path << '\n';
    }
    context.out.flush();
}

// "+ PATH", "~ PATH", "- PATH"; as JSON, one object a line with "change" set to the same sign.
void printChanges(CommandContext &context, JsonRecords *json, const LiveQuery::Changes &changes)
{
    const std::pair<QChar, const QStringList *> groups[] = {
        {u'+', &changes.added}, {u'~', &changes.changed}, {u'-', &changes.removed}};
    for (const auto &[sign, paths] : groups) {
        for (const QString &path : *paths) {
            if (!json) {
                context.out << sign << ' ' << path << '\n';
                continue;
            }
            QJsonObject object = sign == u'-' ? QJsonObject{{"path", path}} : json->record(path);
            object.insert("change", QString(sign));
            context.out << QJsonDocument(object).toJson(QJsonDocument::Compact) << '\n';
        }
    }
    context.out.flush();
}

// Feeds the index from the event stream while it runs, and prints what the query gains, loses and sees
// change, until SIGINT or SIGTERM.
int runLive(CommandContext &context, MetadataIndex &index, LiveQuery &query, const QString &folder,
            JsonRecords *json)
{
    FileSystemEventStream stream{QString()}; // no saved ids: a live query replays no history
    stream.setLatency(liveLatency);
    MetadataIndexFeeder feeder(MetadataCrawler::defaultDatabasePath());
    feeder.setAttributeReader(TagStoreAttributes::read);
    feeder.setContentIndexing(true);
    if (!feeder.start()) {
        context.err << "vantry query: " << feeder.errorText() << Qt::endl;
        return ExitFailure;
    }
    stream.addObserver(&feeder);
    if (!stream.start({folder.isEmpty() ? QStringLiteral("/") : folder}))
        context.err << "vantry query: changes cannot be watched; only other programs' index updates will show"
                    << Qt::endl;

    const std::optional<QStringList> first = query.start();
    if (!first) {
        context.err << "vantry query: " << index.errorText() << Qt::endl;
        return ExitFailure;
    }
    printResults(context, json, *first);

    int status = ExitSuccess;
    const auto refresh = [&] {
        const std::optional<LiveQuery::Changes> changes = query.refresh();
        if (!changes) {
            context.err << "vantry query: " << index.errorText() << Qt::endl;
            status = ExitFailure;
            QCoreApplication::quit();
            return;
        }
        printChanges(context, json, *changes);
    };
    QObject::connect(&feeder, &MetadataIndexFeeder::indexUpdated, QCoreApplication::instance(), refresh,
                     Qt::QueuedConnection);
    QTimer poll;
    QObject::connect(&poll, &QTimer::timeout, refresh);
    poll.start(livePollMilliseconds);
    TerminationSignals terminationSignals;
    QObject::connect(&terminationSignals, &TerminationSignals::received, QCoreApplication::instance(),
                     &QCoreApplication::quit);
    QCoreApplication::exec();
    stream.removeObserver(&feeder);
    stream.shutdown();
    return status;
}

int run(CommandContext &context)
{
    QCommandLineParser parser;
    const QCommandLineOption jsonOption(QStringLiteral("json"));
    const QCommandLineOption inOption(QStringLiteral("in"), QString(), QStringLiteral("DIR"));
    const QCommandLineOption maxOption(QStringLiteral("max"), QString(), QStringLiteral("N"));
    const QCommandLineOption liveOption(QStringLiteral("live"));
    parser.addOptions({jsonOption, inOption, maxOption, liveOption});
    if (!parseArguments(context, command, parser, 1, 1))
        return ExitUsage;

    bool isNumber = true;
    const int maxResults = parser.isSet(maxOption) ? parser.value(maxOption).toInt(&isNumber) : 0;
    if (!isNumber || maxResults < 0) {
        context.err << "vantry query: --max needs a count, not '" << parser.value(maxOption) << "'"
                    << Qt::endl;
        return ExitUsage;
    }
    const QString expression = parser.positionalArguments().first();
    const QueryParseResult parsed = QueryParser::parse(expression);
    if (!parsed.ok()) {
        context.err << "vantry query: " << parsed.error.message << " at column " << parsed.error.column
                    << '\n'
                    << "  " << expression << '\n'
                    << "  " << QString(parsed.error.column - 1, QLatin1Char(' ')) << '^' << Qt::endl;
        return ExitUsage;
    }
    QString folder;
    if (parser.isSet(inOption))
        folder = QDir::cleanPath(QDir::current().absoluteFilePath(parser.value(inOption)));

    const QString databasePath = MetadataCrawler::defaultDatabasePath();
    if (!QFileInfo::exists(databasePath)) {
        context.err << "vantry query: there is no index yet; 'vantry index update' makes one" << Qt::endl;
        return ExitFailure;
    }
    MetadataIndex index;
    if (!index.open(databasePath)) {
        context.err << "vantry query: " << index.errorText() << Qt::endl;
        return ExitFailure;
    }
    std::optional<JsonRecords> json;
    if (parser.isSet(jsonOption))
        json.emplace(index);
    if (parser.isSet(liveOption)) {
        LiveQuery query(index, parsed.root, folder, maxResults);
        return runLive(context, index, query, folder, json ? &*json : nullptr);
    }
    const std::optional<QStringList> paths =
        index.search(parsed.root, folder, maxResults, QDateTime::currentDateTimeUtc());
    if (!paths) {
        context.err << "vantry query: " << index.errorText() << Qt::endl;
        return ExitFailure;
    }
    printResults(context, json ? &*json : nullptr, *paths);
    return ExitSuccess;
}

} // namespace

const Command command = {
    QStringLiteral("query"),
    QStringLiteral("[--json] [--in DIR] [--max N] [--live] EXPR"),
    QStringLiteral("print the indexed files matching a metadata query"),
    QStringLiteral("Prints the paths of the files in the metadata index that match EXPR, one per line,\n"
                   "for example 'kMDItemFSName == \"*.pdf\"c && kMDItemFSSize > 1000'.\n\n"
                   "  --in DIR   only files below DIR\n"
                   "  --max N    at most N files\n"
                   "  --json     one JSON array of {\"path\", \"name\", \"uti\", \"size\", \"modified\"}\n"
                   "  --live     keep running, keep the index current and print \"+ PATH\", \"~ PATH\" and\n"
                   "             \"- PATH\" as files come to match, change or stop matching (with --json:\n"
                   "             one object a line, with \"change\" set to the sign); SIGINT ends it\n\n"
                   "A malformed expression ends with status 2 and a mark under the column at fault."),
    run,
};

} // namespace QueryCommand
