#include "CommandLine.h"

#include <QCoreApplication>

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("Vantry"));
    QCoreApplication::setApplicationVersion(QStringLiteral(VANTRY_VERSION));
    return CommandLine::run(QCoreApplication::arguments().mid(1));
}
