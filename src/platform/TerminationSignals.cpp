#include "TerminationSignals.h"

#include <QSocketNotifier>

#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace {

int pipeEnds[2] = {-1, -1};

// Only async-signal-safe work here: the number goes down a pipe that the event loop watches.
void forward(int signalNumber)
{
    const unsigned char number = static_cast<unsigned char>(signalNumber);
    [[maybe_unused]] const ssize_t written = write(pipeEnds[1], &number, 1);
}

} // namespace

TerminationSignals::TerminationSignals(QObject *parent) : QObject(parent)
{
    if (pipe2(pipeEnds, O_CLOEXEC | O_NONBLOCK) != 0)
        return;
    m_notifier = new QSocketNotifier(pipeEnds[0], QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, [this] {
        unsigned char number = 0;
        while (read(pipeEnds[0], &number, 1) == 1)
            Q_EMIT received(number);
    });
    struct sigaction action = {};
    action.sa_handler = forward;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

TerminationSignals::~TerminationSignals()
{
    signal(SIGINT, SIG_DFL);
    signal(SIGTERM, SIG_DFL);
    if (pipeEnds[0] >= 0) {
        delete m_notifier;
        close(pipeEnds[0]);
        close(pipeEnds[1]);
        pipeEnds[0] = pipeEnds[1] = -1;
    }
}
