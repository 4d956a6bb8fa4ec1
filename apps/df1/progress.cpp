#include "progress.h"

#include <iostream>
#include <unistd.h>

#include "failure.h"

Progress::Progress(const OutputOptions& options)
    : m_options(options)
    , m_isShown(!options.isQuiet && ::isatty(STDERR_FILENO) == 1)
{}

Progress::~Progress()
{
    clear();
}

void Progress::show(const QString& text)
{
    if (!m_isShown || text == m_text)
        return;
    const char* const toTheLeft = "\r";
    const char* const withoutTheRest = "\033[K";
    std::cerr << toTheLeft << text.toStdString() << withoutTheRest << std::flush;
    m_text = text;
}

void Progress::show(const QString& text, int done, int total)
{
    const int width = 30;
    const int filled = static_cast<int>(static_cast<qint64>(done) * width / total);
    show(QStringLiteral("[%1%2] %3 %  %4")
             .arg(QString(filled, QLatin1Char('#')), QString(width - filled, QLatin1Char('.')))
             .arg(static_cast<qint64>(done) * 100 / total)
             .arg(text));
}

void Progress::clear()
{
    show(QString());
}

void Progress::tell(const QString& message)
{
    clear();
    ::tell(message, m_options);
}

void throwIfEnded(EndSignals& ending, const QString& text)
{
    if (ending.waitFor(0))
        throw Failure(ExitCode::Interrupted, text);
}
