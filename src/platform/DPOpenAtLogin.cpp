#include "DPOpenAtLogin.h"

#include "AtomicFile.h"
#include "Log.h"

#include <QCoreApplication>
#include <QFile>
#include <QStandardPaths>
#include <QStringList>

#include <algorithm>

namespace DPOpenAtLogin {

namespace {

const QString entryName = QStringLiteral("autostart/vantry.desktop");

} // namespace

// Quoted when the path holds a reserved character, with the characters that stay special inside quotes
// escaped; then escaped again as a desktop-entry string, where "%" also starts a field code.
QString execValue(const QString &program)
{
    static const QString reserved = QStringLiteral(" \t\n\"'\\><~|&;$*?#()`");
    QString quoted = program;
    if (std::any_of(program.cbegin(), program.cend(), [](QChar c) { return reserved.contains(c); })) {
        quoted.clear();
        for (QChar c : program) {
            if (c == u'"' || c == u'`' || c == u'$' || c == u'\\')
                quoted += u'\\';
            quoted += c;
        }
        quoted = u'"' + quoted + u'"';
    }
    QString escaped;
    for (QChar c : quoted) {
        switch (c.unicode()) {
        case '\\':
            escaped += QStringLiteral("\\\\");
            break;
        case '\n':
            escaped += QStringLiteral("\\n");
            break;
        case '\t':
            escaped += QStringLiteral("\\t");
            break;
        case '\r':
            escaped += QStringLiteral("\\r");
            break;
        case '%':
            escaped += QStringLiteral("%%");
            break;
        default:
            escaped += c;
        }
    }
    return escaped;
}

namespace {

QByteArray entry(bool hidden)
{
    QStringList lines = {
        QStringLiteral("[Desktop Entry]"),
        QStringLiteral("Type=Application"),
        QStringLiteral("Name=Vantry"),
        QStringLiteral("Comment=Recent files, tags and a drop zone"),
        // At login the program waits in the tray for its hot key instead of putting its window up.
        QStringLiteral("Exec=") + execValue(QCoreApplication::applicationFilePath()) +
            QStringLiteral(" --background"),
        QStringLiteral("Terminal=false"),
        QStringLiteral("X-GNOME-Autostart-enabled=true"),
    };
    if (hidden)
        lines.append(QStringLiteral("Hidden=true"));
    return lines.join(u'\n').toUtf8() + '\n';
}

// The switches that turn an existing entry off, read from its main group only.
bool switchedOff(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return true;
    bool inMainGroup = false;
    while (!file.atEnd()) {
        const QString line = QString::fromUtf8(file.readLine()).trimmed();
        if (line.startsWith(u'[')) {
            inMainGroup = line == QLatin1String("[Desktop Entry]");
            continue;
        }
        const qsizetype equals = line.indexOf(u'=');
        if (!inMainGroup || equals < 0)
            continue;
        const QString key = line.left(equals).trimmed();
        const QString value = line.mid(equals + 1).trimmed();
        if ((key == QLatin1String("Hidden") && value == QLatin1String("true")) ||
            (key == QLatin1String("X-GNOME-Autostart-enabled") && value == QLatin1String("false")))
            return true;
    }
    return false;
}

// An entry in the system's folders keeps starting the program unless the user's file hides it.
bool systemEntryExists()
{
    const QStringList found = QStandardPaths::locateAll(QStandardPaths::GenericConfigLocation, entryName);
    return std::any_of(found.cbegin(), found.cend(), [](const QString &path) { return path != entryPath(); });
}

} // namespace

QString entryPath()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + u'/' + entryName;
}

bool openAtLoginEnabled()
{
    const QString path = QStandardPaths::locate(QStandardPaths::GenericConfigLocation, entryName);
    return !path.isEmpty() && !switchedOff(path);
}

bool setOpenAtLoginEnabled(bool enabled)
{
    const QString path = entryPath();
    if (enabled || systemEntryExists()) {
        QString error;
        if (AtomicFile::write(path, entry(!enabled), &error))
            return true;
        Log::line(QStringLiteral("login item: %1").arg(error));
        return false;
    }
    QFile file(path);
    if (!file.exists() || file.remove())
        return true;
    Log::line(QStringLiteral("login item: cannot remove %1: %2").arg(path, file.errorString()));
    return false;
}

bool toggleLoginItem()
{
    return setOpenAtLoginEnabled(!openAtLoginEnabled());
}

} // namespace DPOpenAtLogin
