#include "DumpCommand.h"

#include "KeyedArchive.h"
#include "PropertyList.h"
#include "ValueFormatter.h"

#include <QCommandLineParser>

namespace DumpCommand {

namespace {

int run(CommandContext &context)
{
    QCommandLineParser parser;
    const QCommandLineOption jsonOption(QStringLiteral("json"));
    parser.addOption(jsonOption);
    if (!parseArguments(context, command, parser, 1, 1))
        return ExitUsage;

    const QString path = parser.positionalArguments().constFirst();
    QString error;
    QVariant value = PropertyList::readFile(path, &error);
    if (value.isValid() && KeyedUnarchiver::isKeyedArchive(value))
        value = KeyedUnarchiver::unarchiveObjectWithPropertyList(value, {}, &error);
    if (!value.isValid()) {
        context.err << "vantry dump: " << error << Qt::endl;
        return ExitFailure;
    }
    context.out << (parser.isSet(jsonOption) ? ValueFormatter::toJson(value) : ValueFormatter::toText(value))
                << Qt::endl;
    return ExitSuccess;
}

} // namespace

const Command command = {
    QStringLiteral("dump"),
    QStringLiteral("[--json] FILE"),
    QStringLiteral("print a property list or keyed archive (such as a state file)"),
    QStringLiteral(
        "Reads FILE as an XML or binary property list. A keyed archive (recentItems.plist,\n"
        "coolerItems.plist) is resolved into its object tree; objects of custom classes show their\n"
        "class name and keys.\n\n"
        "  --json   print JSON instead: objects of custom classes as {\"$class\": name, ...},\n"
        "           dates as ISO-8601 strings, data as base64.\n\n"
        "Exit status 1 when FILE cannot be read or is not a property list."),
    run,
};

} // namespace DumpCommand
