#include "CommandLine.h"

#include "Command.h"
#include "DefaultsTable.h"
#include "DumpCommand.h"
#include "IndexCommand.h"
#include "QueryCommand.h"
#include "RecentCommand.h"
#include "TagsCommand.h"
#include "UserDefaults.h"
#include "WatchCommand.h"

#include <QCommandLineParser>
#include <QCoreApplication>

#include <cstdio>

namespace {

const QList<const Command *> &commands()
{
    static const QList<const Command *> all = {&DumpCommand::command,       &RecentCommand::command,
                                               &WatchCommand::command,      &TagsCommand::tagsCommand,
                                               &TagsCommand::ratingCommand, &QueryCommand::command,
                                               &IndexCommand::command};
    return all;
}

const Command *findCommand(const QString &name)
{
    for (const Command *command : commands()) {
        if (command->name == name)
            return command;
    }
    return nullptr;
}

QString usageLine(const Command &command)
{
    return QStringLiteral("usage: vantry %1 %2").arg(command.name, command.synopsis);
}

void printOverview(QTextStream &out)
{
    out << "Vantry keeps a live list of the documents you recently created, changed or opened.\n\n"
           "usage: vantry [--version | --help]\n"
           "       vantry COMMAND [ARGUMENTS]\n"
           "       vantry help COMMAND\n\n"
           "Commands:\n";
    for (const Command *command : commands())
        out << "  " << command->name.leftJustified(10) << command->summary << '\n';
    out << "\nWithout a command, vantry starts the desktop program, or brings the running one to the front.\n"
           "  vantry FILE...      hands files to the running program\n"
           "  vantry --activate   shows or hides the running program (bind it to a desktop shortcut)\n"
           "  vantry --background starts the program without showing its window\n";
    out.flush();
}

void printCommandHelp(const Command &command, QTextStream &out)
{
    out << usageLine(command) << "\n\n" << command.summary << ".\n\n" << command.details << '\n';
    out.flush();
}

int unknownCommand(const QString &name, QTextStream &err)
{
    err << "vantry: unknown command '" << name << "'. Run 'vantry --help' for the list of commands."
        << Qt::endl;
    return ExitUsage;
}

} // namespace

bool parseArguments(CommandContext &context, const Command &command, QCommandLineParser &parser,
                    qsizetype minPositional, qsizetype maxPositional)
{
    parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
    QString problem;
    if (!parser.parse(QStringList{QStringLiteral("vantry")} + context.arguments))
        problem = parser.errorText();
    else if (parser.positionalArguments().size() < minPositional)
        problem = QStringLiteral("missing argument");
    else if (parser.positionalArguments().size() > maxPositional)
        problem =
            QStringLiteral("unexpected argument '%1'").arg(parser.positionalArguments().at(maxPositional));
    if (problem.isEmpty())
        return true;
    context.err << "vantry " << command.name << ": " << problem << '\n' << usageLine(command) << Qt::endl;
    return false;
}

UserDefaults &registeredUserDefaults()
{
    UserDefaults &defaults = UserDefaults::standard();
    defaults.registerDefaults(DefaultsTable::registrationDomain());
    return defaults;
}

namespace CommandLine {

bool isCommand(const QString &argument)
{
    return argument.startsWith(u'-') || argument == QLatin1String("help") || findCommand(argument);
}

int run(const QStringList &arguments)
{
    QTextStream out(stdout);
    QTextStream err(stderr);

    if (arguments.isEmpty() || arguments.first() == QLatin1String("--help") ||
        arguments.first() == QLatin1String("-h")) {
        printOverview(out);
        return ExitSuccess;
    }
    const QString &first = arguments.first();
    if (first == QLatin1String("--version")) {
        out << "vantry " << QCoreApplication::applicationVersion() << Qt::endl;
        return ExitSuccess;
    }
    if (first == QLatin1String("help")) {
        if (arguments.size() == 1) {
            printOverview(out);
            return ExitSuccess;
        }
        const Command *command = findCommand(arguments.at(1));
        if (!command)
            return unknownCommand(arguments.at(1), err);
        printCommandHelp(*command, out);
        return ExitSuccess;
    }

    const Command *command = findCommand(first);
    if (!command)
        return unknownCommand(first, err);
    const QStringList rest = arguments.mid(1);
    if (rest.contains(QLatin1String("--help")) || rest.contains(QLatin1String("-h"))) {
        printCommandHelp(*command, out);
        return ExitSuccess;
    }
    CommandContext context{rest, out, err};
    return command->run(context);
}

} // namespace CommandLine
