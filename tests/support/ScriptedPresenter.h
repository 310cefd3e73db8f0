#pragma once

#include "Presenter.h"

#include <deque>

// Answers alerts from a queue given in advance and records everything it was asked to show.
class ScriptedPresenter : public Presenter {
public:
    std::deque<int> answers;
    qsizetype stopAfterItems = -1; // presses the stop button once this many items are done

    QList<Alert> alerts;
    qsizetype progressCount = -1; // -1: no progress shown
    QString stopTitle;
    qsizetype itemsDone = 0;
    bool progressEnded = false;
    QStringList statuses;
    double statusSeconds = 0;

    int runAlert(const Alert &alert) override
    {
        alerts.append(alert);
        if (answers.empty())
            return 0;
        const int answer = answers.front();
        answers.pop_front();
        return answer;
    }
    void beginProgress(const QString &, qsizetype count, const QString &title,
                       std::function<void()> stop) override
    {
        progressCount = count;
        stopTitle = title;
        m_stop = std::move(stop);
    }
    void advanceProgress() override
    {
        if (++itemsDone == stopAfterItems)
            m_stop();
    }
    void endProgress() override { progressEnded = true; }
    void showStatus(const QString &text, double seconds) override
    {
        statuses.append(text);
        statusSeconds = seconds;
    }

private:
    std::function<void()> m_stop;
};
