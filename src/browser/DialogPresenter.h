#pragma once

#include "Presenter.h"

#include <QPointer>
#include <QWidget>

#include <memory>

class QProgressDialog;

// Questions and progress as Qt dialogs over the window the user works in (window-modal, like sheets);
// status texts as a short-lived label at the bottom of that window.
class DialogPresenter : public Presenter {
public:
    // `window` may be null or hidden; dialogs are then free-standing.
    explicit DialogPresenter(QWidget *window = nullptr);
    ~DialogPresenter() override;

    void setWindow(QWidget *window) { m_window = window; }

    int runAlert(const Alert &alert) override;
    void beginProgress(const QString &message, qsizetype count, const QString &stopTitle,
                       std::function<void()> stop) override;
    void advanceProgress() override;
    void endProgress() override;
    void showStatus(const QString &text, double seconds) override;

private:
    QWidget *visibleWindow() const;

    QPointer<QWidget> m_window;
    std::unique_ptr<QProgressDialog> m_progress;
};
