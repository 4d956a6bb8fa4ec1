#include "trace.h"

#include <iostream>
#include <utility>

#include "host/tracetext.h"

Trace::Trace(const std::string& target)
{
    if (target == "-")
        return;
    QString error;
    m_capture = host::CaptureWriter::open(QString::fromStdString(target), &error);
    if (!m_capture)
        throw Failure(ExitCode::Output, error);
}

void Trace::take(const host::Sighting& sighting)
{
    if (m_hasEnded)
        return;
    QString error;
    if (!m_capture) {
        std::cerr << host::traceLine(sighting, m_narrator).toStdString() << std::endl;
        if (!std::cerr)
            fail(QStringLiteral("cannot write the trace to standard error"));
    } else if (!m_capture->write(sighting, &error)) {
        fail(error);
    }
}

std::optional<Failure> Trace::takeFailure()
{
    return std::exchange(m_failure, std::nullopt);
}

void Trace::fail(const QString& text)
{
    m_hasEnded = true;
    m_failure = Failure(ExitCode::Output, text);
}
