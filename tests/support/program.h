// Programs that tests start.
//
// Not QProcess: in a test that runs under a user-mode emulator it takes wrong numbers
// for its children's, and signals those.
#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <sys/types.h>

namespace support {

struct Outcome
{
    int exitCode; ///< -1: not started, or killed because it did not end in time; -2: a signal
    QString output;
    QString errors;
};

/// A program with its output and errors on pipes.
class Program
{
public:
    /// Starts @p command, the program's name or path and its arguments, which reads @p input.
    explicit Program(const QStringList& command, const QByteArray& input = {});
    /// Kills it if it runs.
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    /// The next line of its output, without line end; empty when none comes in time.
    QString readLine(int timeoutMs = 20000) { return nextLine(0, timeoutMs); }
    /// The same of its errors.
    QString readErrorLine(int timeoutMs = 20000) { return nextLine(1, timeoutMs); }
    pid_t pid() const { return m_pid; }
    /// Sends a signal if it has not been waited for.
    void signal(int number);
    /// Waits until it ends, or kills it, and gives what has not been read yet.
    Outcome end(int timeoutMs = 20000);

private:
    QString nextLine(int pipe, int timeoutMs);
    void take(int timeoutMs, const QByteArray* line);

    pid_t m_pid = -1;
    int m_pipes[2] = {-1, -1}; // ends of its output and its errors
    QByteArray m_taken[2];
};

Outcome run(const QStringList& command, const QByteArray& input = {});

/// The command that runs a program of this build, under the emulator where there is one.
QStringList built(const QString& file);
/// The same for df1 with @p arguments.
QStringList df1(const QStringList& arguments);
Outcome runDf1(const QStringList& arguments, const QByteArray& input = {});

}
