#include "TagsCommand.h"

#include "Quendel.h"
#include "TagText.h"
#include "TerminalPresenter.h"
#include "XPTagEditorController.h"

#include <QCommandLineParser>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace {

// "a, two words, b": the comma form people type on a command line.
QStringList parseTags(const QString &text)
{
    QStringList tags;
    for (const QString &part : text.split(QLatin1Char(','))) {
        const QString tag = TagText::cleanTag(part);
        if (!tag.isEmpty())
            tags.append(tag);
    }
    return Quendel::removeDuplicateTags(tags);
}

QString joinedTags(const QStringList &tags)
{
    return tags.join(QLatin1String(", "));
}

// Reports a file's failure in the store's words; the other files go on.
bool reportFailure(CommandContext &context, const QString &command, const QString &path,
                   const QuendelResult &error)
{
    if (!error)
        return false;
    context.err << "vantry " << command << ": " << path << ": " << error->info << Qt::endl;
    return true;
}

QString displayRating(double rating)
{
    return QString::number(rating, 'g', 3);
}

int runTags(CommandContext &context)
{
    QCommandLineParser parser;
    const QCommandLineOption jsonOption(QStringLiteral("json"));
    const QCommandLineOption fromOption(QStringLiteral("from"), QString(), QStringLiteral("TAGS"));
    const QCommandLineOption toOption(QStringLiteral("to"), QString(), QStringLiteral("TAGS"));
    const QCommandLineOption yesOption(QStringLiteral("yes"));
    parser.addOptions({jsonOption, fromOption, toOption, yesOption});
    if (!parseArguments(context, TagsCommand::tagsCommand, parser, 2, std::numeric_limits<qsizetype>::max()))
        return ExitUsage;
    QStringList arguments = parser.positionalArguments();
    const QString action = arguments.takeFirst();
    const bool json = parser.isSet(jsonOption);
    bool failed = false;

    if (action == QLatin1String("replace-common")) {
        if (!parser.isSet(fromOption) || !parser.isSet(toOption)) {
            context.err << "vantry tags: replace-common needs --from TAGS and --to TAGS" << Qt::endl;
            return ExitUsage;
        }
        TerminalPresenter presenter(context.err, parser.isSet(yesOption));
        const XPTagWriteOutcome outcome =
            XPTagEditorController::replaceOriginalTagsAfterCheckingHowManyFilesAreChanging(
                parseTags(parser.value(fromOption)), parseTags(parser.value(toOption)), arguments,
                std::nullopt, presenter, registeredUserDefaults());
        // The failures themselves were already logged, one line each, on stderr.
        const bool done = outcome.status == XPTagWriteOutcome::Status::finished ||
                          outcome.status == XPTagWriteOutcome::Status::nothingToWrite;
        return done && outcome.failures.isEmpty() ? ExitSuccess : ExitFailure;
    }

    if (action == QLatin1String("get")) {
        QJsonObject object;
        for (const QString &path : std::as_const(arguments)) {
            QuendelResult error;
            const QStringList tags = Quendel::getUserTags(path, &error);
            if (reportFailure(context, QStringLiteral("tags"), path, error)) {
                failed = true;
                continue;
            }
            if (json)
                object.insert(path, QJsonArray::fromStringList(tags));
            else
                context.out << path << ": " << joinedTags(tags) << '\n';
        }
        if (json)
            context.out << QJsonDocument(object).toJson(QJsonDocument::Compact) << '\n';
    } else if (action == QLatin1String("common")) {
        QuendelResult error;
        const QStringList tags = Quendel::getCommonUserTags(arguments, &error);
        failed = reportFailure(context, QStringLiteral("tags"), arguments.join(QLatin1Char(' ')), error);
        if (json)
            context.out << QJsonDocument(QJsonArray::fromStringList(tags)).toJson(QJsonDocument::Compact)
                        << '\n';
        else
            context.out << joinedTags(tags) << '\n';
    } else if (action == QLatin1String("set") || action == QLatin1String("add") ||
               action == QLatin1String("remove")) {
        if (arguments.size() < 2) {
            context.err << "vantry tags: " << action << " needs TAGS and at least one PATH" << Qt::endl;
            return ExitUsage;
        }
        const QStringList tags = parseTags(arguments.takeFirst());
        for (const QString &path : std::as_const(arguments)) {
            const QuendelResult error = action == QLatin1String("set")   ? Quendel::setUserTags(tags, path)
                                        : action == QLatin1String("add") ? Quendel::addUserTags(tags, path)
                                                                         : Quendel::clearUserTags(tags, path);
            failed |= reportFailure(context, QStringLiteral("tags"), path, error);
        }
    } else {
        context.err << "vantry tags: unknown action '" << action << "'" << Qt::endl;
        return ExitUsage;
    }
    context.out.flush();
    return failed ? ExitFailure : ExitSuccess;
}

int runRating(CommandContext &context)
{
    QCommandLineParser parser;
    const QCommandLineOption jsonOption(QStringLiteral("json"));
    parser.addOption(jsonOption);
    if (!parseArguments(context, TagsCommand::ratingCommand, parser, 2,
                        std::numeric_limits<qsizetype>::max()))
        return ExitUsage;
    QStringList arguments = parser.positionalArguments();
    const QString action = arguments.takeFirst();
    bool failed = false;

    if (action == QLatin1String("get")) {
        QJsonObject object;
        for (const QString &path : std::as_const(arguments)) {
            QuendelResult error;
            const double rating = Quendel::getRating(path, &error);
            if (reportFailure(context, QStringLiteral("rating"), path, error)) {
                failed = true;
                continue;
            }
            if (parser.isSet(jsonOption))
                object.insert(path, rating);
            else
                context.out << path << ": " << displayRating(rating) << '\n';
        }
        if (parser.isSet(jsonOption))
            context.out << QJsonDocument(object).toJson(QJsonDocument::Compact) << '\n';
    } else if (action == QLatin1String("set")) {
        bool number = false;
        const double rating = arguments.isEmpty() ? 0 : arguments.takeFirst().toDouble(&number);
        if (!number || rating < 0 || rating > 5 || arguments.isEmpty()) {
            context.err << "vantry rating: set needs a rating from 0 to 5 and at least one PATH" << Qt::endl;
            return ExitUsage;
        }
        for (const QString &path : std::as_const(arguments))
            failed |=
                reportFailure(context, QStringLiteral("rating"), path, Quendel::setRating(path, rating));
    } else {
        context.err << "vantry rating: unknown action '" << action << "'" << Qt::endl;
        return ExitUsage;
    }
    context.out.flush();
    return failed ? ExitFailure : ExitSuccess;
}

} // namespace

namespace TagsCommand {

const Command tagsCommand = {
    QStringLiteral("tags"),
    QStringLiteral("get|common [--json] PATH... | set|add|remove TAGS PATH... | "
                   "replace-common --from TAGS --to TAGS [--yes] PATH..."),
    QStringLiteral("read and change the tags of files"),
    QStringLiteral("Tags live in the files' extended attributes, shared with the desktop's own tags\n"
                   "(user.xdg.tags), so file managers show the same ones.\n\n"
                   "  get PATH...              one line per file: \"PATH: tag1, tag2\"\n"
                   "  common PATH...           the tags all the files have, in one line\n"
                   "  set TAGS PATH...         replace the files' tags by TAGS (\"a, two words, b\")\n"
                   "  add TAGS PATH...         add TAGS to what the files have\n"
                   "  remove TAGS PATH...      take TAGS off the files\n"
                   "  replace-common --from TAGS --to TAGS PATH...\n"
                   "                           the multi-file edit: the common tags FROM become TO, other\n"
                   "                           tags stay; asks first above 20 files (--yes: don't ask),\n"
                   "                           refuses above 150000\n"
                   "  --json                   get: {\"PATH\": [tags]}; common: [tags]\n\n"
                   "A file that fails is reported on stderr and makes the exit status 1; the others are\n"
                   "still written."),
    runTags,
};

const Command ratingCommand = {
    QStringLiteral("rating"),
    QStringLiteral("get [--json] PATH... | set N PATH..."),
    QStringLiteral("read and change the star ratings of files"),
    QStringLiteral("Ratings are 0 (not rated) to 5 stars, kept in the files' extended attributes and in\n"
                   "user.baloo.rating (two per star) for the desktop's file managers.\n\n"
                   "  get PATH...     one line per file: \"PATH: N\"; --json: {\"PATH\": N}\n"
                   "  set N PATH...   set the rating; 0 removes it"),
    runRating,
};

} // namespace TagsCommand
