#include "QueryCommand.h"

#include "MetadataCrawler.h"
#include "MetadataIndex.h"
#include "QueryParser.h"
#include "ReferenceTime.h"

#include <QCommandLineParser>
#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace QueryCommand {

namespace {

QJsonArray jsonResults(MetadataIndex &index, const QStringList &paths)
{
    SqliteStatement read = index.database().prepare(
        QStringLiteral("SELECT name, uti, size, modified FROM files WHERE path = ?"));
    QJsonArray array;
    for (const QString &path : paths) {
        QJsonObject object{{"path", path}};
        if (read.isValid() && read.bind(1, path) && read.step()) {
            object.insert("name", read.columnText(0));
            object.insert("uti", read.columnText(1));
            object.insert("size", read.columnIsNull(2) ? QJsonValue() : QJsonValue(read.columnInt64(2)));
            object.insert(
                "modified",
                read.columnIsNull(3)
                    ? QJsonValue()
                    : QJsonValue(
                          ReferenceTime::toDateTime(read.columnDouble(3)).toString(Qt::ISODateWithMs)));
        }
        read.reset();
        array.append(object);
    }
    return array;
}

int run(CommandContext &context)
{
    QCommandLineParser parser;
    const QCommandLineOption jsonOption(QStringLiteral("json"));
    const QCommandLineOption inOption(QStringLiteral("in"), QString(), QStringLiteral("DIR"));
    const QCommandLineOption maxOption(QStringLiteral("max"), QString(), QStringLiteral("N"));
    parser.addOptions({jsonOption, inOption, maxOption});
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
    std::optional<QStringList> paths;
    if (index.open(databasePath))
        paths = index.search(parsed.root, folder, maxResults, QDateTime::currentDateTimeUtc());
    if (!paths) {
        context.err << "vantry query: " << index.errorText() << Qt::endl;
        return ExitFailure;
    }
    if (parser.isSet(jsonOption)) {
        context.out << QJsonDocument(jsonResults(index, *paths)).toJson(QJsonDocument::Compact) << '\n';
    } else {
        for (const QString &path : std::as_const(*paths))
            context.out << path << '\n';
    }
    context.out.flush();
    return ExitSuccess;
}

} // namespace

const Command command = {
    QStringLiteral("query"),
    QStringLiteral("[--json] [--in DIR] [--max N] EXPR"),
    QStringLiteral("print the indexed files matching a metadata query"),
    QStringLiteral("Prints the paths of the files in the metadata index that match EXPR, one per line,\n"
                   "for example 'kMDItemFSName == \"*.pdf\"c && kMDItemFSSize > 1000'.\n\n"
                   "  --in DIR   only files below DIR\n"
                   "  --max N    at most N files\n"
                   "  --json     one JSON array of {\"path\", \"name\", \"uti\", \"size\", \"modified\"}\n\n"
                   "A malformed expression ends with status 2 and a mark under the column at fault."),
    run,
};

} // namespace QueryCommand
