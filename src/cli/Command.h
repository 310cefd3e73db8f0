#pragma once

#include <QString>
#include <QStringList>
#include <QTextStream>

// What every subcommand gets: its own arguments and the two output streams.
struct CommandContext {
    QStringList arguments;
    QTextStream &out;
    QTextStream &err;
};

// Exit statuses shared by all subcommands.
enum ExitStatus { ExitSuccess = 0, ExitFailure = 1, ExitUsage = 2 };

struct Command {
    QString name;
    QString synopsis; // arguments after the name, as shown in usage lines
    QString summary;  // one line for the command list
    QString details;  // the rest of `vantry help NAME`
    int (*run)(CommandContext &context);
};

class QCommandLineParser;
class UserDefaults;

// The user's defaults with the built-in ones registered, for the commands that run the engine. Only those
// touch the defaults file, so that `vantry dump` can look at a damaged one as it is.
UserDefaults &registeredUserDefaults();

// Parses the context's arguments with `parser` (options already added) and checks the number of positional
// arguments. On a mistake prints the reason and the usage line to err; the caller then exits with ExitUsage.
bool parseArguments(CommandContext &context, const Command &command, QCommandLineParser &parser,
                    qsizetype minPositional, qsizetype maxPositional);
