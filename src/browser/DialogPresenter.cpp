#include "DialogPresenter.h"

#include <QApplication>
#include <QLabel>
#include <QMessageBox>
#include <QProgressDialog>
#include <QPushButton>
#include <QTimer>

DialogPresenter::DialogPresenter(QWidget *window) : m_window(window) {}

DialogPresenter::~DialogPresenter() = default;

QWidget *DialogPresenter::visibleWindow() const
{
    return m_window && m_window->isVisible() ? m_window.data() : nullptr;
}

int DialogPresenter::runAlert(const Alert &alert)
{
    QMessageBox box(alert.style == AlertStyle::critical ? QMessageBox::Critical : QMessageBox::Warning,
                    alert.title, alert.title, QMessageBox::NoButton, visibleWindow());
    box.setInformativeText(alert.message);
    box.setWindowModality(visibleWindow() ? Qt::WindowModal : Qt::ApplicationModal);
    QList<QPushButton *> buttons;
    for (const QString &title : alert.buttons)
        buttons.append(box.addButton(title, QMessageBox::ActionRole));
    if (!buttons.isEmpty()) {
        box.setDefaultButton(buttons.first());
        box.setEscapeButton(buttons.first());
    }
    box.exec();
    const int chosen = int(buttons.indexOf(qobject_cast<QPushButton *>(box.clickedButton())));
    return chosen < 0 ? 0 : chosen;
}

void DialogPresenter::beginProgress(const QString &message, qsizetype count, const QString &stopTitle,
                                    std::function<void()> stop)
{
    m_progress = std::make_unique<QProgressDialog>(message, stopTitle, 0, int(count), visibleWindow());
    m_progress->setWindowModality(Qt::WindowModal);
    m_progress->setMinimumDuration(0);
    m_progress->setAutoClose(false);
    m_progress->setAutoReset(false);
    QObject::connect(m_progress.get(), &QProgressDialog::canceled, m_progress.get(),
                     [stop = std::move(stop)] { stop(); });
    m_progress->setValue(0);
}

void DialogPresenter::advanceProgress()
{
    if (!m_progress)
        return;
    // setValue() of a modal progress dialog serves pending input, so a click on stop lands before the next
    // item.
    m_progress->setValue(m_progress->value() + 1);
}

void DialogPresenter::endProgress()
{
    m_progress.reset();
}

void DialogPresenter::showStatus(const QString &text, double seconds)
{
    QWidget *window = visibleWindow();
    if (!window)
        return;
    auto *label = new QLabel(text, window);
    label->setStyleSheet(QStringLiteral(
        "QLabel { background: rgba(0, 0, 0, 190); color: white; border-radius: 8px; padding: 8px 14px; }"));
    label->adjustSize();
    label->move((window->width() - label->width()) / 2, window->height() - label->height() - 24);
    label->show();
    label->raise();
    QTimer::singleShot(int(seconds * 1000), label, &QObject::deleteLater);
}
