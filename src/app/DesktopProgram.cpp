#include "DesktopProgram.h"

#include "CommandLine.h"
#include "SingleInstance.h"
#include "TerminationSignals.h"
#include "VNAppDelegate.h"

#include <QApplication>
#include <QFileInfo>
#include <QIcon>

#include <cstdio>

namespace DesktopProgram {

namespace {

const QString activateOption = QStringLiteral("--activate");
const QString backgroundOption = QStringLiteral("--background");

} // namespace

bool handles(const QStringList &arguments)
{
    if (arguments.isEmpty())
        return true;
    const QString &first = arguments.first();
    if (first == activateOption || first == backgroundOption)
        return true;
    return !CommandLine::isCommand(first) && QFileInfo::exists(first);
}

int run(int &argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("DISPLAY") && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY") &&
        qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        std::fprintf(stderr,
                     "vantry: no graphical session to show the window in (DISPLAY and WAYLAND_DISPLAY "
                     "are unset).\nStart it from a desktop session, or see 'vantry --help' for the "
                     "command line.\n");
        return 1;
    }
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Vantry"));
    QApplication::setApplicationVersion(QStringLiteral(VANTRY_VERSION));
    QApplication::setDesktopFileName(QStringLiteral("vantry"));
    // Type icons fall back to a complete theme when the desktop's own lacks them.
    QIcon::setFallbackThemeName(QStringLiteral("Adwaita"));

    const QStringList arguments = QApplication::arguments().mid(1);
    const bool toggle = arguments.value(0) == activateOption;
    const bool background = arguments.value(0) == backgroundOption;
    QStringList files;
    if (!toggle && !background) {
        for (const QString &argument : arguments)
            files.append(QFileInfo(argument).absoluteFilePath());
    }

    SingleInstance instance;
    if (!instance.claim()) {
        const SingleInstance::Request request = toggle            ? SingleInstance::Request::toggle
                                                : files.isEmpty() ? SingleInstance::Request::show
                                                                  : SingleInstance::Request::open;
        if (background || SingleInstance::sendToRunningInstance(request, files))
            return 0;
        std::fprintf(stderr, "vantry: another Vantry is running but does not answer\n");
        return 1;
    }

    TerminationSignals termination;
    QObject::connect(&termination, &TerminationSignals::received, &app, &QCoreApplication::quit);

    VNAppDelegate delegate;
    QObject::connect(&instance, &SingleInstance::requestReceived, &delegate,
                     [&delegate](SingleInstance::Request request, const QStringList &paths) {
                         switch (request) {
                         case SingleInstance::Request::show:
                             delegate.activateIgnoringOtherApps();
                             break;
                         case SingleInstance::Request::toggle:
                             delegate.toggleApplication(!delegate.isActive());
                             break;
                         case SingleInstance::Request::open:
                             delegate.applicationOpenFiles(paths);
                             break;
                         }
                     });
    delegate.applicationWillFinishLaunching();
    delegate.applicationDidFinishLaunching(!background);
    if (!files.isEmpty())
        delegate.applicationOpenFiles(files);
    return app.exec();
}

} // namespace DesktopProgram
