#pragma once

#include "Presenter.h"

#include <QTextStream>

// Questions and reports of the tag editor's logic, asked on a terminal. A question that needs an answer
// is taken as yes with `assumeYes` (--yes), asked when standard input is a terminal, and declined otherwise.
class TerminalPresenter : public Presenter {
public:
    TerminalPresenter(QTextStream &err, bool assumeYes) : m_err(err), m_assumeYes(assumeYes) {}

    int runAlert(const Alert &alert) override;
    void beginProgress(const QString &, qsizetype, const QString &, std::function<void()>) override {}
    void advanceProgress() override {}
    void endProgress() override {}
    void showStatus(const QString &text, double) override;

private:
    QTextStream &m_err;
    bool m_assumeYes;
};
