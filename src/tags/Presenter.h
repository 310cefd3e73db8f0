#pragma once

#include <QString>
#include <QStringList>

#include <functional>

// How the editing logic asks and tells the user things, apart from any toolkit: the desktop program shows Qt
// dialogs, the command line a terminal prompt. Everything is called on the main thread.
class Presenter {
public:
    enum class AlertStyle { warning, critical };

    struct Alert {
        AlertStyle style = AlertStyle::warning;
        QString title;
        QString message;
        QStringList buttons; // one to three, the default first
    };

    virtual ~Presenter() = default;

    // Shows `alert` until the user answers; returns the index of the chosen button in `alert.buttons`.
    virtual int runAlert(const Alert &alert) = 0;

    // A progress window over `count` items with a stop button titled `stopTitle` that calls `stop`.
    virtual void beginProgress(const QString &message, qsizetype count, const QString &stopTitle,
                               std::function<void()> stop) = 0;
    // One more item done. Serves the user's input, so that a stop takes effect before the next item.
    virtual void advanceProgress() = 0;
    virtual void endProgress() = 0;

    // A short-lived status text over the place the user worked in.
    virtual void showStatus(const QString &text, double seconds) = 0;
};
