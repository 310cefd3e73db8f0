#include "CommandLine.h"
#include "DesktopProgram.h"
#include "IndexedInodeLocator.h"

#include <QCoreApplication>

int main(int argc, char **argv)
{
    QStringList arguments;
    for (int i = 1; i < argc; ++i)
        arguments.append(QString::fromLocal8Bit(argv[i]));
    IndexedInodeLocator::install();
    if (DesktopProgram::handles(arguments))
        return DesktopProgram::run(argc, argv);

    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("Vantry"));
    QCoreApplication::setApplicationVersion(QStringLiteral(VANTRY_VERSION));
    return CommandLine::run(arguments);
}
