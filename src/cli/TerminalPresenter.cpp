#include "TerminalPresenter.h"

#include <cstdio>
#include <unistd.h>

int TerminalPresenter::runAlert(const Alert &alert)
{
    m_err << alert.title << '\n' << alert.message << Qt::endl;
    if (alert.buttons.size() < 2 || m_assumeYes)
        return 0;
    if (!isatty(STDIN_FILENO)) {
        m_err << "Not confirmed: run with --yes to go ahead without being asked." << Qt::endl;
        return 1;
    }
    m_err << alert.buttons.first() << "? [y/N] " << Qt::flush;
    QTextStream in(stdin);
    const QString answer = in.readLine().trimmed().toLower();
    return answer == QLatin1String("y") || answer == QLatin1String("yes") ? 0 : 1;
}

void TerminalPresenter::showStatus(const QString &text, double)
{
    if (!text.isEmpty())
        m_err << text << Qt::endl;
}
