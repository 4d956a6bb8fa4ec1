// How df1 fails: one line on standard error and an exit code that scripts rely on.
#pragma once

#include <QString>
#include <stdexcept>

enum class ExitCode
{
    Success = 0,
    Usage = 2,        ///< wrong usage, or an address that the driver can't use
    Port = 3,         ///< the port can't be opened, or was lost
    NoAnswer = 4,     ///< nothing came back from the controller
    Damaged = 5,      ///< lost bytes, wrong checks, answers that belong to nothing
    Refused = 6,      ///< the controller refused the request
    Mismatch = 7,     ///< what was written reads back as something else
    Output = 8,       ///< standard output, or a file to be made, can't be written to
    Interrupted = 130 ///< Ctrl-C before everything was done
};

class Failure : public std::runtime_error
{
public:
    Failure(ExitCode code, const QString& text)
        : std::runtime_error(text.toStdString())
        , m_code(code)
    {}

    ExitCode code() const { return m_code; }

private:
    ExitCode m_code;
};

/// Prints "df1: " and the text on standard error; nothing when the text is empty.
void report(const Failure& failure);
