#include "DefaultsTable.h"
#include "FileSystemEventStream.h"
#include "TemporaryHome.h"
#include "TemporaryXServer.h"
#include "UserDefaults.h"
#include "VNRecentFiles.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QHash>
#include <QProcess>
#include <QThread>

#include <xcb/xcb.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

// The desktop program as a user meets it, in a private X server: the time from starting `vantry` to the
// first painted frame of its window with a full recent state, then, left alone for a minute, how often it
// wakes up and how much memory it holds.
namespace {

constexpr int eventCount = 151;
constexpr int filesPerEvent = 21;
constexpr int launches = 10;
constexpr int idleSeconds = 60;

// A full state as a working day leaves it: 151 events, every fifth a stack of 21 files.
void writeFullState(const TemporaryHome &home)
{
    UserDefaults defaults(home.filePath(".config/Vantry/Vantry.plist"));
    defaults.registerDefaults(DefaultsTable::registrationDomain());
    FileSystemEventStream stream(home.filePath(".local/share/Vantry/eventStream.plist"));
    VNRecentFiles collector(defaults, stream, VNRecentFiles::pastEventsPath());
    for (int e = 0; e < eventCount; ++e) {
        const QString folder = home.filePath(QStringLiteral("Documents/project%1").arg(e));
        QDir().mkpath(folder);
        QList<VNItemRef> files;
        const int count = e % 5 == 0 ? filesPerEvent : 1 + e % 3;
        for (int f = 0; f < count; ++f) {
            QFile file(QStringLiteral("%1/section %2.odt").arg(folder).arg(f));
            file.open(QIODevice::WriteOnly);
            file.write("text");
            file.close();
            auto item = std::make_shared<VNItem>(file.fileName());
            item->calculateCache();
            files.append(item);
        }
        collector.addEvent(files, folder);
    }
    collector.writeState();
}

QByteArray windowName(xcb_connection_t *connection, xcb_window_t window)
{
    xcb_get_property_reply_t *reply = xcb_get_property_reply(
        connection, xcb_get_property(connection, 0, window, XCB_ATOM_WM_NAME, XCB_ATOM_STRING, 0, 64),
        nullptr);
    QByteArray name;
    if (reply) {
        name = QByteArray(static_cast<const char *>(xcb_get_property_value(reply)),
                          xcb_get_property_value_length(reply));
        std::free(reply);
    }
    return name;
}

// The pixel at (x, y) of `window` as 0xRRGGBB.
quint32 pixelAt(xcb_connection_t *connection, xcb_window_t window, int x, int y)
{
    xcb_get_image_reply_t *reply = xcb_get_image_reply(
        connection, xcb_get_image(connection, XCB_IMAGE_FORMAT_Z_PIXMAP, window, x, y, 1, 1, ~0u), nullptr);
    if (!reply)
        return 0;
    quint32 pixel = 0;
    std::memcpy(&pixel, xcb_get_image_data(reply), std::min<int>(4, xcb_get_image_data_length(reply)));
    std::free(reply);
    return pixel & 0xffffff;
}

// The recent panel's colour (0.16, 0.18, 0.16 at alpha 0.9) over the window's (28, 30, 28).
bool isPanelColour(quint32 pixel)
{
    const int red = int(pixel >> 16 & 0xff), green = int(pixel >> 8 & 0xff), blue = int(pixel & 0xff);
    return std::abs(red - 40) <= 6 && std::abs(green - 44) <= 6 && std::abs(blue - 40) <= 6;
}

struct Launch {
    double mappedMSecs = -1;
    double paintedMSecs = -1;
};

Launch launchAndWaitForFirstFrame(xcb_connection_t *connection, QProcess &vantry)
{
    Launch launch;
    QElapsedTimer clock;
    clock.start();
    vantry.start();
    xcb_window_t window = 0;
    while (!window && clock.elapsed() < 10000) {
        xcb_generic_event_t *event = xcb_poll_for_event(connection);
        if (!event) {
            QThread::usleep(200);
            continue;
        }
        if ((event->response_type & 0x7f) == XCB_MAP_NOTIFY) {
            const auto *map = reinterpret_cast<xcb_map_notify_event_t *>(event);
            if (windowName(connection, map->window) == "Vantry")
                window = map->window;
        }
        std::free(event);
    }
    if (!window)
        return launch;
    launch.mappedMSecs = double(clock.nsecsElapsed()) / 1e6;
    // A point of the recent panel's left margin, beside the grid and below the header.
    int height = 0;
    if (xcb_get_geometry_reply_t *geometry =
            xcb_get_geometry_reply(connection, xcb_get_geometry(connection, window), nullptr)) {
        height = geometry->height;
        std::free(geometry);
    }
    while (clock.elapsed() < 10000) {
        if (isPanelColour(pixelAt(connection, window, 12, height / 2))) {
            launch.paintedMSecs = double(clock.nsecsElapsed()) / 1e6;
            break;
        }
        QThread::usleep(200);
    }
    return launch;
}

struct ProcessCounters {
    QHash<QString, qint64> contextSwitches; // per thread: each switch is a wake-up
    qint64 rssKiB = 0;
};

// Wake-ups between two readings; a thread that ended meanwhile is not counted.
qint64 wakeUpsBetween(const ProcessCounters &before, const ProcessCounters &after)
{
    qint64 total = 0;
    for (auto thread = after.contextSwitches.begin(); thread != after.contextSwitches.end(); ++thread)
        total += thread.value() - before.contextSwitches.value(thread.key(), 0);
    return total;
}

ProcessCounters readCounters(qint64 pid)
{
    ProcessCounters counters;
    const QDir tasks(QStringLiteral("/proc/%1/task").arg(pid));
    for (const QString &task : tasks.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        QFile status(tasks.filePath(task + QStringLiteral("/status")));
        if (!status.open(QIODevice::ReadOnly))
            continue;
        for (const QByteArray &line : status.readAll().split('\n')) {
            if (line.startsWith("voluntary_ctxt_switches:") || line.startsWith("nonvoluntary_ctxt_switches:"))
                counters.contextSwitches[task] += line.split(':').value(1).trimmed().toLongLong();
        }
    }
    QFile status(QStringLiteral("/proc/%1/status").arg(pid));
    if (status.open(QIODevice::ReadOnly)) {
        for (const QByteArray &line : status.readAll().split('\n')) {
            if (line.startsWith("VmRSS:"))
                counters.rssKiB = line.mid(6).trimmed().split(' ').value(0).toLongLong();
        }
    }
    return counters;
}

double median(QList<double> values)
{
    std::sort(values.begin(), values.end());
    return values.isEmpty() ? -1 : values.at(values.size() / 2);
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const TemporaryHome home;
    writeFullState(home);
    const TemporaryXServer server;
    if (!server.isRunning()) {
        std::fprintf(stderr, "bench_desktop: Xvfb did not start\n");
        return 1;
    }
    xcb_connection_t *connection = xcb_connect(server.display().toLatin1().constData(), nullptr);
    xcb_screen_t *screen = xcb_setup_roots_iterator(xcb_get_setup(connection)).data;
    const quint32 mask = XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
    xcb_change_window_attributes(connection, screen->root, XCB_CW_EVENT_MASK, &mask);
    xcb_flush(connection);

    QProcess vantry;
    vantry.setProgram(QStringLiteral(VANTRY_BINARY));
    vantry.setProcessChannelMode(QProcess::ForwardedChannels);
    QList<double> mapped, painted;
    for (int i = 0; i < launches; ++i) {
        const Launch launch = launchAndWaitForFirstFrame(connection, vantry);
        mapped.append(launch.mappedMSecs);
        painted.append(launch.paintedMSecs);
        if (i + 1 < launches) {
            vantry.terminate();
            vantry.waitForFinished();
        }
    }
    std::printf("start to window mapped:   median %.1f ms\n", median(mapped));
    std::printf("start to first frame:     median %.1f ms, max %.1f ms (%d launches, 151 events)\n",
                median(painted), *std::max_element(painted.begin(), painted.end()), launches);

    QThread::sleep(5); // the catch-up scan and the late checks after activation
    const ProcessCounters before = readCounters(vantry.processId());
    QThread::sleep(idleSeconds);
    const ProcessCounters after = readCounters(vantry.processId());
    std::printf("idle wake-ups:            %.2f per second over %d s (%d threads)\n",
                double(wakeUpsBetween(before, after)) / idleSeconds, idleSeconds,
                int(after.contextSwitches.size()));
    std::printf("resident memory:          %.1f MB after %d s\n", double(after.rssKiB) / 1024,
                idleSeconds + 5);
    vantry.terminate();
    vantry.waitForFinished();
    xcb_disconnect(connection);
    return 0;
}
