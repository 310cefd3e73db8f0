#include "GlobalDragMonitor.h"

#include "QtPrinters.h"
#include "TemporaryXServer.h"
#include "WaitUntil.h"

#include <QProcess>

#include <gtest/gtest.h>
#include <xcb/xcb.h>

#include <cstdlib>
#include <cstring>

namespace {

// Another X client acting as a drag source: it owns the drag selection and hands out its file list.
class DragSource {
public:
    DragSource() : m_connection(xcb_connect(nullptr, nullptr))
    {
        const xcb_screen_t *screen = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data;
        m_window = xcb_generate_id(m_connection);
        xcb_create_window(m_connection, XCB_COPY_FROM_PARENT, m_window, screen->root, 0, 0, 1, 1, 0,
                          XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, 0, nullptr);
        m_selection = atom("XdndSelection");
        m_uriList = atom("text/uri-list");
    }
    ~DragSource() { xcb_disconnect(m_connection); }

    void startDrag(const QByteArray &uriList)
    {
        m_uris = uriList;
        xcb_set_selection_owner(m_connection, m_window, m_selection, XCB_CURRENT_TIME);
        xcb_flush(m_connection);
    }

    void answerRequests()
    {
        while (xcb_generic_event_t *event = xcb_poll_for_event(m_connection)) {
            if ((event->response_type & 0x7f) == XCB_SELECTION_REQUEST)
                answer(reinterpret_cast<const xcb_selection_request_event_t *>(event));
            std::free(event);
        }
        xcb_flush(m_connection);
    }

private:
    xcb_atom_t atom(const char *name)
    {
        xcb_intern_atom_reply_t *reply = xcb_intern_atom_reply(
            m_connection, xcb_intern_atom(m_connection, false, strlen(name), name), nullptr);
        const xcb_atom_t atom = reply->atom;
        std::free(reply);
        return atom;
    }

    void answer(const xcb_selection_request_event_t *request)
    {
        xcb_selection_notify_event_t notify = {};
        notify.response_type = XCB_SELECTION_NOTIFY;
        notify.time = request->time;
        notify.requestor = request->requestor;
        notify.selection = request->selection;
        notify.target = request->target;
        if (request->target == m_uriList) {
            xcb_change_property(m_connection, XCB_PROP_MODE_REPLACE, request->requestor, request->property,
                                m_uriList, 8, m_uris.size(), m_uris.constData());
            notify.property = request->property;
        }
        xcb_send_event(m_connection, false, request->requestor, 0, reinterpret_cast<const char *>(&notify));
    }

    xcb_connection_t *m_connection;
    xcb_window_t m_window;
    xcb_atom_t m_selection;
    xcb_atom_t m_uriList;
    QByteArray m_uris;
};

class GlobalDragMonitorTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (!server.isRunning())
            GTEST_SKIP() << "no Xvfb";
        monitor = std::make_unique<GlobalDragMonitor>();
        ASSERT_TRUE(monitor->isAvailable());
    }

    TemporaryXServer server;
    std::unique_ptr<GlobalDragMonitor> monitor;
};

TEST_F(GlobalDragMonitorTest, CountsDragsAndTakesTheLocalFilesOfEach)
{
    DragSource source;
    source.startDrag("file:///tmp/first%20file.txt\r\n# a comment\r\nhttps://example.org/page\r\n"
                     "file://localhost/tmp/second\r\n");
    EXPECT_TRUE(waitUntil([&] {
        source.answerRequests();
        return !monitor->draggedFilePaths().isEmpty();
    }));
    EXPECT_EQ(monitor->changeCount(), 1);
    EXPECT_EQ(monitor->draggedFilePaths(), QStringList({"/tmp/first file.txt", "/tmp/second"}));

    source.startDrag("file:///tmp/third\r\n");
    EXPECT_TRUE(waitUntil([&] {
        source.answerRequests();
        return monitor->changeCount() == 2 && !monitor->draggedFilePaths().isEmpty();
    }));
    EXPECT_EQ(monitor->draggedFilePaths(), QStringList({"/tmp/third"}));
}

TEST_F(GlobalDragMonitorTest, ReportsMotionWithTheLeftButtonHeldAndItsRelease)
{
    QStringList seen;
    QObject::connect(monitor.get(), &GlobalDragMonitor::leftMouseDragged, [&] { seen << "dragged"; });
    QObject::connect(monitor.get(), &GlobalDragMonitor::leftMouseUp, [&] { seen << "up"; });

    // Relative moves go through XTEST, as a mouse would; absolute ones warp the pointer without any motion.
    ASSERT_TRUE(server.run("xdotool", {"mousemove", "10", "10", "mousedown", "3", "mousemove_relative", "50",
                                       "50", "mouseup", "3", "click", "1"}));
    ASSERT_TRUE(waitUntil([&] { return seen.contains("up"); }));
    EXPECT_EQ(seen, QStringList({"up"})) << "no left drag yet: " << seen.join(' ').toStdString();

    seen.clear();
    ASSERT_TRUE(server.run("xdotool", {"mousedown", "1", "mousemove_relative", "100", "100",
                                       "mousemove_relative", "100", "100", "mouseup", "1"}));
    ASSERT_TRUE(waitUntil([&] { return seen.contains("up"); }));
    seen.removeDuplicates();
    EXPECT_EQ(seen, QStringList({"dragged", "up"})) << seen.join(' ').toStdString();
}

// A GTK window that drags two files when pulled with the left button: a real toolkit, which answers only
// requests made with the time it took the selection at.
const char gtkDragSource[] = R"(
import sys, gi
gi.require_version('Gtk', '3.0')
from gi.repository import Gtk, Gdk
window = Gtk.Window()
window.set_default_size(200, 200)
window.drag_source_set(Gdk.ModifierType.BUTTON1_MASK, [Gtk.TargetEntry.new('text/uri-list', 0, 0)],
                       Gdk.DragAction.COPY)
window.connect('drag-data-get', lambda widget, context, data, info, time: data.set_uris(sys.argv[1:]))
window.connect('map-event', lambda *args: print('mapped', flush=True))
window.show_all()
Gtk.main()
)";

TEST_F(GlobalDragMonitorTest, FollowsADragOutOfAnotherProgram)
{
    QProcess source;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("GDK_BACKEND", "x11");
    environment.insert("NO_AT_BRIDGE", "1");
    source.setProcessEnvironment(environment);
    source.start("/usr/bin/python3", {"-c", gtkDragSource, "file:///tmp/one", "file:///tmp/two%3F"});
    ASSERT_TRUE(waitUntil([&] { return source.canReadLine() || source.state() == QProcess::NotRunning; }));
    if (source.readLine() != "mapped\n")
        GTEST_SKIP() << "no GTK for Python: " << source.readAllStandardError().toStdString();
    QStringList seen;
    QObject::connect(monitor.get(), &GlobalDragMonitor::leftMouseDragged, [&] { seen << "dragged"; });
    QObject::connect(monitor.get(), &GlobalDragMonitor::leftMouseUp, [&] { seen << "up"; });

    ASSERT_TRUE(
        server.run("xdotool", {"mousemove", "100", "100", "mousedown", "1", "mousemove_relative", "20", "0",
                               "mousemove_relative", "20", "0", "mousemove_relative", "20", "0"}));
    EXPECT_TRUE(waitUntil([&] { return !monitor->draggedFilePaths().isEmpty(); }));
    EXPECT_EQ(monitor->changeCount(), 1);
    EXPECT_EQ(monitor->draggedFilePaths(), QStringList({"/tmp/one", "/tmp/two?"}));
    ASSERT_TRUE(server.run("xdotool", {"mouseup", "1"}));
    EXPECT_TRUE(waitUntil([&] { return seen.contains("up"); }));
    EXPECT_EQ(seen.first(), "dragged");
    source.kill();
    source.waitForFinished();
}

} // namespace
