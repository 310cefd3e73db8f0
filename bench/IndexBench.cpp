#include "MetadataCrawler.h"
#include "MetadataIndex.h"
#include "QueryParser.h"
#include "TemporaryHome.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QSet>

#include <algorithm>
#include <cstdio>
#include <fcntl.h>
#include <random>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

extern char **environ;

// The metadata index against Debian's plocate, in one run over trees generated in a temporary home:
// (1) crawl rate of a realistic tree, metadata only and with text content, against `updatedb` on the same
// tree; (2) name-substring queries over a tree of a million entries, against `plocate -b`; (3) word-prefix
// queries over names and contents; (4) database size and the crawler's peak memory.
namespace {

const char *const kWords[] = {
    "report",   "invoice",  "photo",    "holiday",    "budget",   "draft",    "final",    "notes",
    "meeting",  "project",  "summary",  "letter",     "contract", "scan",     "backup",   "archive",
    "music",    "video",    "paris",    "berlin",     "london",   "garden",   "kitchen",  "family",
    "wedding",  "birthday", "school",   "thesis",     "chapter",  "figure",   "table",    "data",
    "results",  "analysis", "model",    "server",     "client",   "config",   "readme",   "license",
    "release",  "build",    "test",     "debug",      "source",   "header",   "module",   "widget",
    "window",   "canvas",   "render",   "shader",     "texture",  "sound",    "voice",    "memo",
    "agenda",   "minutes",  "quarter",  "annual",     "monthly",  "weekly",   "daily",    "travel",
    "flight",   "hotel",    "ticket",   "receipt",    "tax",      "salary",   "bank",     "statement",
    "recipe",   "menu",     "poster",   "flyer",      "logo",     "icon",     "sketch",   "drawing",
    "plan",     "survey",   "sample",   "experiment", "lab",      "protocol", "patient",  "clinic",
    "course",   "lecture",  "exam",     "homework",   "slides",   "talk",     "paper",    "review",
    "proposal", "grant",    "design",   "mockup",     "feedback", "roadmap",  "sprint",   "issue",
    "ticket",   "customer", "order",    "shipping",   "garage",   "bicycle",  "mountain", "river",
    "beach",    "forest",   "winter",   "summer",     "spring",   "autumn",   "concert",  "festival",
    "museum",   "gallery",  "portrait", "landscape",  "sunset",   "ocean"};

struct Extension {
    const char *name;
    bool isText;
};
const Extension kExtensions[] = {{"txt", true},  {"md", true},   {"csv", true},     {"log", true},
                                 {"html", true}, {"cpp", true},  {"h", true},       {"json", true},
                                 {"py", true},   {"pdf", false}, {"jpg", false},    {"jpeg", false},
                                 {"png", false}, {"odt", false}, {"ods", false},    {"mp3", false},
                                 {"mp4", false}, {"zip", false}, {"tar.gz", false}, {"bin", false}};

// Words as text files hold them: the common words above and a long tail of syllable-built ones.
class Vocabulary {
public:
    explicit Vocabulary(std::mt19937 &random) : m_random(random)
    {
        static const char *const syllables[] = {"ka",  "lo",  "mi", "ter", "ban", "dor", "vel", "qui", "sta",
                                                "ren", "pol", "gu", "zar", "fen", "tis", "mon", "ast", "rel"};
        std::uniform_int_distribution<int> count(2, 4), syllable(0, std::size(syllables) - 1);
        for (const char *word : kWords)
            m_words.append(QByteArray(word));
        while (m_words.size() < 6000) {
            QByteArray word;
            for (int n = count(m_random); n > 0; --n)
                word += syllables[syllable(m_random)];
            m_words.append(word);
        }
    }

    // Frequent words often, the tail rarely.
    const QByteArray &word()
    {
        const double u = std::uniform_real_distribution<double>(0, 1)(m_random);
        return m_words.at(qsizetype(u * u * u * double(m_words.size())));
    }
    const char *commonWord()
    {
        return kWords[std::uniform_int_distribution<int>(0, std::size(kWords) - 1)(m_random)];
    }

private:
    std::mt19937 &m_random;
    QByteArrayList m_words;
};

// A tree of `files` regular files in about files / 100 folders up to five levels deep. Names mix words,
// capitals, digits and extensions; with contents, text files hold 20 to 150 words and the others 64 to 1024
// bytes, else every file is empty. Returns the number of entries below root (folders and files).
qint64 generateTree(const QString &root, qint64 files, bool withContents)
{
    std::mt19937 random(20240611);
    Vocabulary vocabulary(random);
    auto below = [&](int n) { return std::uniform_int_distribution<int>(0, n - 1)(random); };

    struct Folder {
        QByteArray path;
        int depth;
    };
    QList<Folder> folders{{QFile::encodeName(root), 0}};
    QDir().mkpath(root);
    const qint64 folderCount = std::max<qint64>(1, files / 100);
    for (qint64 i = 1; i < folderCount; ++i) {
        Folder parent;
        do
            parent = folders.at(below(int(folders.size())));
        while (parent.depth >= 5);
        QByteArray name = vocabulary.commonWord();
        if (below(3) == 0)
            name[0] = char(toupper(name[0]));
        name += below(2) ? QByteArray(" ") + QByteArray::number(2000 + below(25)) : QByteArray::number(i);
        const QByteArray path = parent.path + '/' + name;
        if (mkdir(path.constData(), 0755) == 0)
            folders.append({path, parent.depth + 1});
    }

    QByteArray content;
    for (qint64 i = 0; i < files; ++i) {
        const Extension &extension = kExtensions[below(std::size(kExtensions))];
        QByteArray name;
        switch (below(5)) {
        case 0:
            name = "IMG_" + QByteArray::number(1000 + i);
            break;
        case 1:
            name = vocabulary.commonWord() + QByteArray("_") + vocabulary.word() + "_" +
                   QByteArray::number(below(10000));
            break;
        case 2: {
            QByteArray first = vocabulary.commonWord();
            first[0] = char(toupper(first[0]));
            name = first + " " + vocabulary.commonWord() + " " + QByteArray::number(2000 + below(25));
            break;
        }
        case 3:
            name = vocabulary.word() + "-" + vocabulary.commonWord() + QByteArray::number(below(100));
            break;
        default:
            name = vocabulary.commonWord() + QByteArray::number(i);
        }
        const QByteArray path =
            folders.at(below(int(folders.size()))).path + '/' + name + '.' + extension.name;
        int fd = open(path.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
        if (fd < 0) // a name already taken in that folder
            fd = open((path + QByteArray::number(i)).constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC,
                      0644);
        if (fd < 0) {
            std::perror(path.constData());
            std::exit(1);
        }
        content.clear();
        if (withContents && extension.isText) {
            for (int n = 20 + below(130); n > 0; --n)
                content += vocabulary.word() + (below(12) ? " " : ".\n");
        } else if (withContents) {
            content.resize(64 + below(960));
            for (char &byte : content)
                byte = char(below(256));
        }
        if (!content.isEmpty() && write(fd, content.constData(), size_t(content.size())) != content.size()) {
            std::perror(path.constData());
            std::exit(1);
        }
        close(fd);
    }
    return folders.size() - 1 + files;
}

struct ProcessRun {
    int exitStatus = -1;
    double seconds = 0;
    long peakKiB = 0;
    QByteArray output;
};

// Runs a program to its end, its stdout captured, stderr dropped, and times it.
ProcessRun run(const QStringList &arguments)
{
    QList<QByteArray> storage;
    std::vector<char *> argv;
    for (const QString &argument : arguments)
        storage.append(QFile::encodeName(argument));
    for (QByteArray &argument : storage)
        argv.push_back(argument.data());
    argv.push_back(nullptr);

    int pipeFds[2];
    if (pipe2(pipeFds, O_CLOEXEC) != 0)
        return {};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, pipeFds[1], STDOUT_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    ProcessRun result;
    QElapsedTimer clock;
    clock.start();
    pid_t pid = 0;
    const int spawned = posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(pipeFds[1]);
    if (spawned != 0) {
        close(pipeFds[0]);
        return result;
    }
    char buffer[65536];
    for (ssize_t n; (n = read(pipeFds[0], buffer, sizeof buffer)) > 0;)
        result.output.append(buffer, n);
    close(pipeFds[0]);
    int status = 0;
    waitpid(pid, &status, 0);
    result.seconds = double(clock.nsecsElapsed()) / 1e9;
    result.exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return result;
}

// plocate exits with 1 when nothing matched.
ProcessRun runChecked(const QStringList &arguments, int highestSuccess = 0)
{
    ProcessRun result = run(arguments);
    if (result.exitStatus < 0 || result.exitStatus > highestSuccess) {
        std::fprintf(stderr, "failed (%d): %s\n", result.exitStatus, qPrintable(arguments.join(u' ')));
        std::exit(1);
    }
    return result;
}

// A spawned child's peak RSS counts this process's own peak (the child shares its memory until it execs), so
// the peak is read by GNU time, whose child is forked from a small process.
ProcessRun runMeasured(QStringList arguments, const QString &peakFile)
{
    arguments = QStringList{QStringLiteral("/usr/bin/time"), QStringLiteral("-f"), QStringLiteral("%M"),
                            QStringLiteral("-o"), peakFile} +
                arguments;
    ProcessRun result = runChecked(arguments);
    QFile peak(peakFile);
    if (peak.open(QIODevice::ReadOnly))
        result.peakKiB = peak.readAll().trimmed().toLong();
    return result;
}

// Reads the page cache into memory for everyone alike: one untimed walk over the tree's entries.
void warm(const QString &root)
{
    runChecked({QStringLiteral("find"), root, QStringLiteral("-printf"), QString()});
}

long statusKiB(const char *field)
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith(field))
            return line.mid(qstrlen(field)).trimmed().split(' ').first().toLong();
    }
    return 0;
}

qint64 fileSize(const QString &database)
{
    return QFileInfo(database).size() + QFileInfo(database + QStringLiteral("-wal")).size();
}

struct CrawlRun {
    qint64 entries = 0;
    double seconds = 0;
    qint64 databaseBytes = 0;
    long baseKiB = 0; // resident before the crawl
    long peakKiB = 0; // highest resident during it
};

CrawlRun crawl(const QString &root, const QString &database, bool withContent)
{
    QFile::remove(database);
    CrawlRun result;
    {
        MetadataIndex index;
        if (!index.open(database)) {
            std::fprintf(stderr, "cannot open %s: %s\n", qPrintable(database), qPrintable(index.errorText()));
            std::exit(1);
        }
        MetadataCrawler crawler(index);
        crawler.setContentIndexing(withContent);
        result.baseKiB = statusKiB("VmRSS:");
        // "5" resets the peak resident size to the current one.
        QFile clearRefs(QStringLiteral("/proc/self/clear_refs"));
        if (clearRefs.open(QIODevice::WriteOnly))
            clearRefs.write("5");
        clearRefs.close();
        QElapsedTimer clock;
        clock.start();
        if (!crawler.rebuild({root})) {
            std::fprintf(stderr, "crawl failed: %s\n", qPrintable(crawler.errorText()));
            std::exit(1);
        }
        result.seconds = double(clock.nsecsElapsed()) / 1e9;
        result.peakKiB = statusKiB("VmHWM:");
        // The root itself is indexed too; updatedb counts it as well.
        result.entries = crawler.status().filesIndexed;
    }
    result.databaseBytes = fileSize(database);
    return result;
}

double percentile(QList<double> samples, double fraction)
{
    if (samples.isEmpty())
        return 0;
    std::sort(samples.begin(), samples.end());
    return samples.at(std::min(samples.size() - 1, qsizetype(fraction * double(samples.size()))));
}

struct Latencies {
    QList<double> milliseconds;
    qint64 matches = 0; // over one pass of the queries
};

Latencies searchInProcess(MetadataIndex &index, const QStringList &queries, int repeats, bool warmFirst,
                          int maxResults = 0)
{
    Latencies result;
    for (int pass = warmFirst ? -1 : 0; pass < repeats; ++pass) { // pass -1 warms the cache, untimed
        for (const QString &query : queries) {
            QElapsedTimer clock;
            clock.start();
            const QueryParseResult parsed = QueryParser::parse(query);
            const std::optional<QStringList> paths =
                index.search(parsed.root, QString(), maxResults, QDateTime::currentDateTimeUtc());
            const double milliseconds = double(clock.nsecsElapsed()) / 1e6;
            if (!parsed.ok() || !paths) {
                std::fprintf(stderr, "query failed: %s: %s\n", qPrintable(query),
                             qPrintable(index.errorText()));
                std::exit(1);
            }
            if (pass == 0)
                result.matches += paths->size();
            if (pass >= 0)
                result.milliseconds.append(milliseconds);
        }
    }
    return result;
}

Latencies searchByProcess(const QList<QStringList> &commands, int repeats)
{
    Latencies result;
    for (int pass = -1; pass < repeats; ++pass) {
        for (const QStringList &command : commands) {
            const ProcessRun process = runChecked(command, 1);
            if (pass == 0)
                result.matches += process.output.count('\n');
            if (pass >= 0)
                result.milliseconds.append(process.seconds * 1000);
        }
    }
    return result;
}

void printLatencies(const char *label, const Latencies &latencies)
{
    std::printf("  %-44s %9.2f %9.2f %12lld\n", label, percentile(latencies.milliseconds, 0.5),
                percentile(latencies.milliseconds, 0.9), latencies.matches);
}

double rate(qint64 entries, double seconds)
{
    return seconds > 0 ? double(entries) / seconds : 0;
}

QStringList updatedbCommand(const QString &root, const QString &database)
{
    // No pruning: the tree lives below /tmp, which Debian's configuration prunes.
    return {QStringLiteral("updatedb"),
            QStringLiteral("-U"),
            root,
            QStringLiteral("-o"),
            database,
            QStringLiteral("-l"),
            QStringLiteral("0"),
            QStringLiteral("--prunepaths"),
            QString(),
            QStringLiteral("--prunenames"),
            QString(),
            QStringLiteral("--prunefs"),
            QString(),
            QStringLiteral("--prune-bind-mounts"),
            QStringLiteral("no")};
}

qint64 plocateCount(const QString &database)
{
    // Every path contains "/" (the root itself included).
    return runChecked({QStringLiteral("plocate"), QStringLiteral("-d"), database, QStringLiteral("-c"),
                       QStringLiteral("/")})
        .output.trimmed()
        .toLongLong();
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Crawl and query benchmarks of the metadata index"));
    parser.addHelpOption();
    const QCommandLineOption filesOption(QStringLiteral("files"), QStringLiteral("Files of the crawl tree."),
                                         QStringLiteral("N"), QStringLiteral("200000"));
    const QCommandLineOption pathsOption(QStringLiteral("paths"),
                                         QStringLiteral("Entries of the query tree."), QStringLiteral("N"),
                                         QStringLiteral("1000000"));
    const QCommandLineOption repeatsOption(QStringLiteral("repeats"),
                                           QStringLiteral("Timed passes per query."), QStringLiteral("N"),
                                           QStringLiteral("3"));
    parser.addOptions({filesOption, pathsOption, repeatsOption});
    // scripts/bench hands every benchmark the Google Benchmark options, which are not ours.
    parser.parse(app.arguments());
    if (parser.isSet(QStringLiteral("help")))
        parser.showHelp();
    const qint64 files = std::max(1LL, parser.value(filesOption).toLongLong());
    const qint64 paths = std::max(1LL, parser.value(pathsOption).toLongLong());
    const int repeats = std::max(1, parser.value(repeatsOption).toInt());
    if (run({QStringLiteral("updatedb"), QStringLiteral("--version")}).exitStatus != 0 ||
        run({QStringLiteral("plocate"), QStringLiteral("--version")}).exitStatus != 0 ||
        run({QStringLiteral("/usr/bin/time"), QStringLiteral("true")}).exitStatus != 0) {
        std::fprintf(stderr, "plocate or GNU time is missing (scripts/install-deps installs them)\n");
        return 1;
    }
    QElapsedTimer total;
    total.start();
    TemporaryHome home;
    std::setvbuf(stdout, nullptr, _IOLBF, 0);

    // (1) and (4): crawl rate, database size and peak memory.
    const QString tree = home.filePath(QStringLiteral("tree"));
    QElapsedTimer step;
    step.start();
    const qint64 entries = generateTree(tree, files, true) + 1; // + the root
    std::printf("generated %lld files, %lld entries with folders and the root, in %.1f s\n", files, entries,
                double(step.elapsed()) / 1000);
    warm(tree);
    const QString metadataDatabase = home.filePath(QStringLiteral("metadata.sqlite"));
    const QString contentDatabase = home.filePath(QStringLiteral("content.sqlite"));
    const CrawlRun metadataOnly = crawl(tree, metadataDatabase, false);
    const CrawlRun withContent = crawl(tree, contentDatabase, true);
    const QString plocateDatabase = home.filePath(QStringLiteral("tree.plocate.db"));
    const ProcessRun updatedb =
        runMeasured(updatedbCommand(tree, plocateDatabase), home.filePath(QStringLiteral("updatedb.peak")));
    const qint64 updatedbEntries = plocateCount(plocateDatabase);
    // The command-line crawl as users run it: content and tag-store reading on, in its own process.
    const QString cliCache = home.filePath(QStringLiteral("cli-cache"));
    qputenv("XDG_CACHE_HOME", QFile::encodeName(cliCache));
    const ProcessRun cliCrawl =
        runMeasured({QStringLiteral(VANTRY_BINARY), QStringLiteral("index"), QStringLiteral("update"), tree},
                    home.filePath(QStringLiteral("vantry.peak")));
    const qint64 cliBytes = fileSize(cliCache + QStringLiteral("/Vantry/index.sqlite"));
    qputenv("XDG_CACHE_HOME", QFile::encodeName(home.filePath(QStringLiteral(".cache"))));

    const double updatedbRate = rate(updatedbEntries, updatedb.seconds);
    std::printf("\n(1) crawl of %lld entries (page cache warmed by one untimed walk)\n", entries);
    std::printf("  %-44s %9s %9s %12s %9s\n", "", "entries", "seconds", "entries/s", "vs plocate");
    auto crawlLine = [&](const char *label, qint64 count, double seconds) {
        std::printf("  %-44s %9lld %9.2f %12.0f %9.2f\n", label, count, seconds, rate(count, seconds),
                    rate(count, seconds) / updatedbRate);
    };
    crawlLine("MetadataCrawler, metadata only", metadataOnly.entries, metadataOnly.seconds);
    crawlLine("MetadataCrawler, with text content", withContent.entries, withContent.seconds);
    crawlLine("vantry index update (content, tags, process)", entries, cliCrawl.seconds);
    crawlLine("updatedb -l 0 (plocate)", updatedbEntries, updatedb.seconds);

    std::printf("\n(4) database size and crawler memory\n");
    auto perHundredThousand = [](qint64 bytes, qint64 count) {
        return double(bytes) * 1e5 / double(count) / 1e6;
    };
    std::printf("  %-44s %9.1f MB per 100,000 entries\n", "index, metadata only",
                perHundredThousand(metadataOnly.databaseBytes, metadataOnly.entries));
    std::printf("  %-44s %9.1f MB per 100,000 entries\n", "index, with text content",
                perHundredThousand(withContent.databaseBytes, withContent.entries));
    std::printf("  %-44s %9.1f MB per 100,000 entries\n", "index, vantry index update",
                perHundredThousand(cliBytes, entries));
    std::printf("  %-44s %9.1f MB per 100,000 entries\n", "plocate database",
                perHundredThousand(QFileInfo(plocateDatabase).size(), updatedbEntries));
    std::printf("  %-44s %9.1f MB peak resident (%.1f MB before)\n", "in-process crawl, metadata only",
                double(metadataOnly.peakKiB) / 1024, double(metadataOnly.baseKiB) / 1024);
    std::printf("  %-44s %9.1f MB peak resident (%.1f MB before)\n", "in-process crawl, with text content",
                double(withContent.peakKiB) / 1024, double(withContent.baseKiB) / 1024);
    std::printf("  %-44s %9.1f MB peak resident, whole process\n", "vantry index update",
                double(cliCrawl.peakKiB) / 1024);
    std::printf("  %-44s %9.1f MB peak resident, whole process\n", "updatedb",
                double(updatedb.peakKiB) / 1024);

    // (3) word prefixes over names and contents, on the index with content: what a user types into a search
    // field, the first two to four letters of words the files hold.
    QStringList prefixes;
    {
        std::mt19937 random(7);
        Vocabulary vocabulary(random);
        while (prefixes.size() < 30) {
            const QString prefix =
                QString::fromLatin1(vocabulary.word().left(std::uniform_int_distribution<int>(2, 4)(random)));
            if (!prefixes.contains(prefix))
                prefixes.append(prefix);
        }
    }
    auto wordPrefixQueries = [](const QStringList &prefixes, const char *left) {
        QStringList queries;
        for (const QString &prefix : prefixes)
            queries.append(QStringLiteral("%1 == \"%2*\"cdw || kMDItemTextContent == \"%2*\"cdw")
                               .arg(QLatin1String(left), prefix));
        return queries;
    };
    std::printf(
        "\n(3) word-prefix queries, %lld prefixes of 2-4 letters (%s ...) x %d passes (one untimed pass "
        "first),\n    in-process (parse + search), index with content of %lld entries\n",
        qint64(prefixes.size()), qPrintable(prefixes.mid(0, 6).join(u' ')), repeats, withContent.entries);
    std::printf("  %-44s %9s %9s %12s\n", "", "p50 ms", "p90 ms", "matches");
    {
        MetadataIndex index;
        index.open(contentDatabase);
        printLatencies("kMDItemFSName or kMDItemTextContent",
                       searchInProcess(index, wordPrefixQueries(prefixes, "kMDItemFSName"), repeats, true));
        printLatencies("* or kMDItemTextContent",
                       searchInProcess(index, wordPrefixQueries(prefixes, "*"), repeats, true));
        // A search field shows the first screenful while the user types on.
        printLatencies(
            "kMDItemFSName or kMDItemTextContent, first 100",
            searchInProcess(index, wordPrefixQueries(prefixes, "kMDItemFSName"), repeats, true, 100));
        const QStringList oneLetter{QStringLiteral("p")};
        printLatencies("kMDItemFSName or kMDItemTextContent, \"p*\"",
                       searchInProcess(index, wordPrefixQueries(oneLetter, "kMDItemFSName"), repeats, true));
        printLatencies("* or kMDItemTextContent, \"p*\"",
                       searchInProcess(index, wordPrefixQueries(oneLetter, "*"), repeats, true));
    }

    // (2) name substrings over a million entries. Both programs' databases come from the same real tree.
    const QString bigTree = home.filePath(QStringLiteral("big"));
    step.restart();
    const qint64 bigEntries = generateTree(bigTree, paths - std::max<qint64>(1, paths / 100), false) + 1;
    std::printf("\ngenerated %lld empty files, %lld entries with folders and the root, in %.1f s\n",
                paths - std::max<qint64>(1, paths / 100), bigEntries, double(step.elapsed()) / 1000);
    warm(bigTree);
    const QString bigDatabase = MetadataCrawler::defaultDatabasePath();
    QDir().mkpath(QFileInfo(bigDatabase).path());
    const CrawlRun bigCrawl = crawl(bigTree, bigDatabase, false);
    const QString bigPlocate = home.filePath(QStringLiteral("big.plocate.db"));
    const ProcessRun bigUpdatedb = runChecked(updatedbCommand(bigTree, bigPlocate));
    const qint64 bigPlocateEntries = plocateCount(bigPlocate);
    std::printf("  %-44s %9lld %9.2f %12.0f %9.2f\n", "MetadataCrawler, metadata only", bigCrawl.entries,
                bigCrawl.seconds, rate(bigCrawl.entries, bigCrawl.seconds),
                rate(bigCrawl.entries, bigCrawl.seconds) / rate(bigPlocateEntries, bigUpdatedb.seconds));
    std::printf("  %-44s %9lld %9.2f %12.0f\n", "updatedb -l 0 (plocate)", bigPlocateEntries,
                bigUpdatedb.seconds, rate(bigPlocateEntries, bigUpdatedb.seconds));

    const QStringList substrings = {"rep",    "port",  "voice",  "holi", "dget",   "raft",  "eeti",  "ummar",
                                    "2019",   "202",   "IMG_1",  "_99",  "ocean",  "ndsca", "unset", "kalo",
                                    "terban", "quist", "zarfen", "mon",  "astre",  "elpol", "guka",  "vel",
                                    ".pdf",   "ar.gz", ".h",     "jpe",  "Report", "xyzzy"};
    QStringList ourQueries;
    QList<QStringList> ourCommands, plocateCommands;
    for (const QString &substring : substrings) {
        const QString query = QStringLiteral("kMDItemFSName == \"*%1*\"").arg(substring);
        ourQueries.append(query);
        ourCommands.append({QStringLiteral(VANTRY_BINARY), QStringLiteral("query"), query});
        plocateCommands.append({QStringLiteral("plocate"), QStringLiteral("-d"), bigPlocate,
                                QStringLiteral("-b"), QStringLiteral("-N"), substring});
    }
    std::printf(
        "\n(2) name-substring queries over %lld entries, %lld substrings x %d passes (one untimed pass "
        "first)\n    kMDItemFSName == \"*S*\" against plocate -b -N S (base names, case-sensitive, "
        "every match listed)\n    Same method for both: the whole command, process start included, "
        "output read through a pipe;\n    ours in-process (QueryParser + MetadataIndex::search) for "
        "reference\n",
        bigEntries, qint64(substrings.size()), repeats);
    std::printf("  %-44s %9s %9s %12s\n", "", "p50 ms", "p90 ms", "matches");
    {
        MetadataIndex index;
        index.open(bigDatabase);
        printLatencies("vantry query (process)", searchByProcess(ourCommands, repeats));
        printLatencies("plocate (process)", searchByProcess(plocateCommands, repeats));
        printLatencies("in-process search (no process start)",
                       searchInProcess(index, ourQueries, repeats, true));
        printLatencies("plocate, a string matching nothing",
                       searchByProcess({{QStringLiteral("plocate"), QStringLiteral("-d"), bigPlocate,
                                         QStringLiteral("-b"), QStringLiteral("qqqzzzjjj")}},
                                       repeats * 10));
    }
    std::printf("\nwhole run: %.0f s (cleaning up the trees follows)\n", double(total.elapsed()) / 1000);
    return 0;
}
