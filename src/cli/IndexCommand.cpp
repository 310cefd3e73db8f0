#include "IndexCommand.h"

#include "MetadataCrawler.h"
#include "MetadataIndex.h"
#include "TagStoreAttributes.h"

#include <QCommandLineParser>
#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>

#include <unistd.h>

namespace IndexCommand {

namespace {

// "N files, R files/s", redrawn in place at most five times a second.
class ProgressLine {
public:
    explicit ProgressLine(QTextStream &err) : m_err(err), m_enabled(isatty(STDERR_FILENO))
    {
        m_clock.start();
    }

    void show(qint64 filesDone)
    {
        if (!m_enabled || (m_shown && m_clock.elapsed() - m_lastDraw < 200))
            return;
        m_shown = true;
        m_lastDraw = m_clock.elapsed();
        const double seconds = std::max(m_clock.elapsed(), qint64(1)) / 1000.0;
        m_err << "\r\033[K" << filesDone << " files, " << qRound64(filesDone / seconds) << " files/s";
        m_err.flush();
    }
    void end()
    {
        if (m_shown)
            m_err << '\n';
        m_err.flush();
    }

private:
    QTextStream &m_err;
    const bool m_enabled;
    bool m_shown = false;
    QElapsedTimer m_clock;
    qint64 m_lastDraw = 0;
};

QString dateText(const QDateTime &date)
{
    return date.isValid() ? date.toString(Qt::ISODate) : QString();
}

int printStatus(CommandContext &context, MetadataCrawler &crawler, bool json)
{
    const MetadataCrawler::Status status = crawler.status();
    if (json) {
        QJsonObject object{{"filesIndexed", status.filesIndexed},
                           {"databaseSize", status.databaseSize},
                           {"lastUpdate", status.lastUpdate.isValid()
                                              ? QJsonValue(dateText(status.lastUpdate))
                                              : QJsonValue()},
                           {"crawlInProgress", status.crawlInProgress}};
        if (status.crawlInProgress) {
            object.insert("crawlFilesDone", status.crawlFilesDone);
            object.insert("crawlFolder", status.crawlFolder);
        }
        context.out << QJsonDocument(object).toJson(QJsonDocument::Compact) << '\n';
    } else {
        context.out << "files indexed: " << status.filesIndexed << '\n'
                    << "database size: " << status.databaseSize << " bytes\n"
                    << "last update: "
                    << (status.lastUpdate.isValid() ? dateText(status.lastUpdate) : QStringLiteral("never"))
                    << '\n'
                    << "crawl: ";
        if (status.crawlInProgress)
            context.out << "in progress, " << status.crawlFilesDone << " files done, in "
                        << status.crawlFolder << '\n';
        else
            context.out << "not running\n";
    }
    context.out.flush();
    return ExitSuccess;
}

int run(CommandContext &context)
{
    QCommandLineParser parser;
    const QCommandLineOption jsonOption(QStringLiteral("json"));
    parser.addOption(jsonOption);
    if (!parseArguments(context, command, parser, 1, 2))
        return ExitUsage;
    const QStringList arguments = parser.positionalArguments();
    const QString action = arguments.first();
    const qsizetype allowed = action == QLatin1String("update") ? 2 : 1;
    if ((action != QLatin1String("status") && action != QLatin1String("update") &&
         action != QLatin1String("rebuild")) ||
        arguments.size() > allowed || (parser.isSet(jsonOption) && action != QLatin1String("status"))) {
        context.err << "vantry index: unknown use '" << arguments.join(QLatin1Char(' ')) << "'\n"
                    << "usage: vantry index " << command.synopsis << Qt::endl;
        return ExitUsage;
    }

    const QString databasePath = MetadataCrawler::defaultDatabasePath();
    QDir().mkpath(QFileInfo(databasePath).path());
    MetadataIndex index;
    if (!index.open(databasePath)) {
        context.err << "vantry index: cannot open " << databasePath << ": " << index.errorText() << Qt::endl;
        return ExitFailure;
    }
    MetadataCrawler crawler(index);
    if (action == QLatin1String("status"))
        return printStatus(context, crawler, parser.isSet(jsonOption));

    QStringList roots = MetadataCrawler::defaultRoots();
    if (arguments.size() == 2) {
        const QFileInfo folder(arguments.at(1));
        if (!folder.isDir()) {
            context.err << "vantry index: not a folder: " << arguments.at(1) << Qt::endl;
            return ExitFailure;
        }
        roots = {QDir::cleanPath(folder.absoluteFilePath())};
    }
    crawler.setContentIndexing(true);
    crawler.setAttributeReader(TagStoreAttributes::read);
    ProgressLine progress(context.err);
    crawler.setProgressCallback([&progress](qint64 filesDone, const QString &) { progress.show(filesDone); });
    const bool ok = action == QLatin1String("rebuild") ? crawler.rebuild(roots) : crawler.update(roots);
    progress.end();
    if (!ok) {
        context.err << "vantry index: " << crawler.errorText() << Qt::endl;
        return ExitFailure;
    }
    return ExitSuccess;
}

} // namespace

const Command command = {
    QStringLiteral("index"),
    QStringLiteral("status [--json] | update [DIR] | rebuild"),
    QStringLiteral("show, update or rebuild the metadata index"),
    QStringLiteral(
        "  status    files indexed, database size, last update and the crawl in progress\n"
        "            (--json: {\"filesIndexed\", \"databaseSize\", \"lastUpdate\",\n"
        "            \"crawlInProgress\"}, with \"crawlFilesDone\" and \"crawlFolder\" during a crawl)\n"
        "  update    brings the index up to date with the home folder and mounted volumes,\n"
        "            or with the folder DIR and everything below it\n"
        "  rebuild   empties the index and crawls again\n\n"
        "On a terminal, update and rebuild show the files done and the rate."),
    run,
};

} // namespace IndexCommand
