#include "support/program.h"

#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryFile>

#include <algorithm>
#include <csignal>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace support {

namespace {

/// The process, or -1; its standard streams are the descriptors.
pid_t spawn(const QStringList& command, int input, int output, int errors)
{
    std::vector<QByteArray> words;
    for (const QString& word : command)
        words.push_back(QFile::encodeName(word));
    std::vector<char*> arguments;
    for (QByteArray& word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
    ::posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    ::posix_spawn_file_actions_adddup2(&actions, errors, STDERR_FILENO);
    pid_t pid = -1;
    const int error =
        ::posix_spawnp(&pid, arguments.front(), &actions, nullptr, arguments.data(), environ);
    ::posix_spawn_file_actions_destroy(&actions);
    return error == 0 ? pid : -1;
}

}

Program::Program(const QStringList& command, const QByteArray& input)
{
    QTemporaryFile file;
    if (!file.open() || file.write(input) != input.size() || !file.seek(0))
        return;
    int writers[2] = {-1, -1};
    for (int i = 0; i < 2; ++i) {
        int ends[2] = {-1, -1};
        if (::pipe2(ends, O_CLOEXEC) == 0) {
            m_pipes[i] = ends[0];
            writers[i] = ends[1];
        }
    }
    m_pid = spawn(command, file.handle(), writers[0], writers[1]);
    for (const int writer : writers)
        ::close(writer);
}

Program::~Program()
{
    end(0);
    for (const int pipe : m_pipes)
        ::close(pipe);
}

/// Takes what comes until both pipes are closed, the time is over or there is a line in
/// @p line, which is one of m_taken or null.
void Program::take(int timeoutMs, const QByteArray* line)
{
    QElapsedTimer clock;
    clock.start();
    pollfd sources[2] = {{m_pipes[0], POLLIN, 0}, {m_pipes[1], POLLIN, 0}};
    while (sources[0].fd >= 0 || sources[1].fd >= 0) {
        const qint64 left = timeoutMs - clock.elapsed();
        if (left < 0 || (line != nullptr && line->contains('\n')))
            return;
        ::poll(sources, 2, static_cast<int>(left));
        for (int i = 0; i < 2; ++i) {
            if (sources[i].revents == 0)
                continue;
            char buffer[4096];
            const ssize_t size = ::read(m_pipes[i], buffer, sizeof buffer);
            if (size > 0)
                m_taken[i].append(buffer, static_cast<int>(size));
            else
                sources[i].fd = -1; // poll() skips it
        }
    }
}

QString Program::nextLine(int pipe, int timeoutMs)
{
    QByteArray& taken = m_taken[pipe];
    take(timeoutMs, &taken);
    const int size = static_cast<int>(taken.indexOf('\n')) + 1;
    const QByteArray line = taken.left(size);
    taken.remove(0, size);
    return QString::fromUtf8(line).trimmed();
}

void Program::signal(int number)
{
    if (m_pid > 0) // others would be groups of processes, or all
        ::kill(m_pid, number);
}

Outcome Program::end(int timeoutMs)
{
    if (m_pid <= 0)
        return {-1, QString(), "not running"};
    QElapsedTimer clock;
    clock.start();
    take(timeoutMs, nullptr);
    int status = 0;
    pid_t ended = 0;
    while ((ended = ::waitpid(m_pid, &status, WNOHANG)) == 0 && clock.elapsed() < timeoutMs)
        ::usleep(2000);
    if (ended == 0) {
        signal(SIGKILL);
        ::waitpid(m_pid, &status, 0);
    }
    m_pid = -1;
    const int exitCode = ended == 0 ? -1 : WIFEXITED(status) ? WEXITSTATUS(status) : -2;
    return {exitCode, QString::fromUtf8(m_taken[0]), QString::fromUtf8(m_taken[1])};
}

Outcome run(const QStringList& command, const QByteArray& input)
{
    return Program(command, input).end();
}

QStringList built(const QString& file)
{
    return QString(EMULATOR).split('|', Qt::SkipEmptyParts) + QStringList(file);
}

QStringList df1(const QStringList& arguments)
{
    return built(DF1_FILE) + arguments;
}

Outcome runDf1(const QStringList& arguments, const QByteArray& input)
{
    return run(df1(arguments), input);
}

}
