#pragma once

#include <QObject>

class QSocketNotifier;

// Turns SIGINT and SIGTERM into a Qt signal on the main thread, so that a long-running command can save its
// state and leave its event loop normally.
class TerminationSignals : public QObject {
    Q_OBJECT

public:
    explicit TerminationSignals(QObject *parent = nullptr);
    ~TerminationSignals() override;

Q_SIGNALS:
    void received(int signalNumber);

private:
    QSocketNotifier *m_notifier = nullptr;
};
