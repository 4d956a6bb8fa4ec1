#include "farends.h"

#include <QFile>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <string>
#include <sys/epoll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include "drivers/df1/framing.h"
#include "drivers/lib_crc.h"
#include "requests.h"

namespace bench {

namespace {

using Clock = std::chrono::steady_clock;

const unsigned char DLE = 0x10;
const unsigned char STX = 0x02;
const unsigned char ETX = 0x03;

[[noreturn]] void fail(const char* what)
{
    std::perror(what);
    std::_Exit(1);
}

std::string text(const unsigned char* bytes, int size)
{
    return std::string(reinterpret_cast<const char*>(bytes), static_cast<size_t>(size));
}

/// Length of the DF1 frame at the input's start; 0 while it is not whole.
size_t frameSize(const std::string& input)
{
    for (size_t i = 2; i + 3 < input.size(); ++i) {
        if (static_cast<unsigned char>(input[i]) != DLE)
            continue;
        if (input[i + 1] == ETX)
            return i + 4;
        ++i;
    }
    return 0;
}

/// Takes the request, if it is whole, and the DLE ACKs before it from the input; what
/// answers it, or nothing.
std::string answerDf1(std::string& input)
{
    while (input.size() >= 2 && input[1] != STX)
        input.erase(0, 2);
    const size_t size = frameSize(input);
    if (size == 0)
        return std::string();
    unsigned char answer[LARGEST_ANSWER];
    const int answerSize = answerTo(reinterpret_cast<const unsigned char*>(input.data()), answer);
    input.erase(0, size);
    return text(answer, answerSize);
}

std::string answerRtu(std::string& input)
{
    const size_t requestSize = 8;
    if (input.size() < requestSize)
        return std::string();
    input.erase(0, requestSize);
    const int size = 3 + 2 * WORDS;
    unsigned char answer[size + 2] = {1, 3, 2 * WORDS};
    unsigned short crc = 0xFFFF;
    for (int i = 0; i < size; ++i)
        crc = update_crc_16(crc, answer[i]);
    answer[size] = static_cast<unsigned char>(crc);
    answer[size + 1] = static_cast<unsigned char>(crc >> 8);
    return text(answer, size + 2);
}

/// The far ends' process.
class Answerer
{
public:
    Answerer(FarEnds::Speaks protocol, const std::vector<int>& lines,
             std::chrono::microseconds delay)
        : m_answer(protocol == FarEnds::Df1 ? answerDf1 : answerRtu)
        , m_delay(delay)
        , m_epoll(::epoll_create1(EPOLL_CLOEXEC))
    {
        for (const int line : lines) {
            m_lines.push_back({line, std::string()});
            epoll_event wanted = {};
            wanted.events = EPOLLIN;
            wanted.data.u64 = m_lines.size() - 1;
            if (::epoll_ctl(m_epoll, EPOLL_CTL_ADD, line, &wanted) != 0)
                fail("far end: epoll");
        }
    }

    void step()
    {
        // epoll's own time-out counts milliseconds.
        const timespec time = untilNext();
        pollfd ready = {m_epoll, POLLIN, 0};
        ::ppoll(&ready, 1, m_waiting.empty() ? nullptr : &time, nullptr);
        std::array<epoll_event, 64> events;
        const int count = ::epoll_wait(m_epoll, events.data(), static_cast<int>(events.size()), 0);
        for (int i = 0; i < count; ++i)
            take(m_lines[events[static_cast<size_t>(i)].data.u64]);
        while (!m_waiting.empty() && m_waiting.front().at <= Clock::now()) {
            send(m_waiting.front().line, m_waiting.front().bytes);
            m_waiting.pop_front();
        }
    }

private:
    struct Line
    {
        int descriptor;
        std::string input;
    };
    struct Answer
    {
        Clock::time_point at;
        int line;
        std::string bytes;
    };

    timespec untilNext() const
    {
        if (m_waiting.empty())
            return timespec{};
        const std::chrono::nanoseconds left =
            std::max(m_waiting.front().at - Clock::now(), Clock::duration::zero());
        const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(left);
        return timespec{seconds.count(), (left - seconds).count()};
    }

    void take(Line& line)
    {
        std::array<char, 512> buffer;
        const ssize_t count = ::read(line.descriptor, buffer.data(), buffer.size());
        if (count <= 0)
            ::_exit(0);
        line.input.append(buffer.data(), static_cast<size_t>(count));
        const std::string answer = m_answer(line.input);
        if (answer.empty())
            return;
        if (m_delay.count() == 0)
            send(line.descriptor, answer);
        else
            m_waiting.push_back({Clock::now() + m_delay, line.descriptor, answer});
    }

    static void send(int line, const std::string& bytes)
    {
        if (::write(line, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()))
            fail("far end: writing");
    }

    std::string (*m_answer)(std::string& input);
    const std::chrono::microseconds m_delay;
    const int m_epoll;
    std::vector<Line> m_lines;
    std::deque<Answer> m_waiting; // by their time
};

[[noreturn]] void serve(FarEnds::Speaks protocol, const std::vector<int>& lines,
                        std::chrono::microseconds delay)
{
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    Answerer answerer(protocol, lines, delay);
    for (;;)
        answerer.step();
}

}

FarEnds::FarEnds(Speaks protocol, int count, std::chrono::microseconds delay)
{
    std::vector<int> lines;
    for (int i = 0; i < count; ++i) {
        const int line = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
        if (line < 0 || ::grantpt(line) != 0 || ::unlockpt(line) != 0)
            fail("opening a pseudo-terminal");
        const char* const path = ::ptsname(line);
        const int nearEnd = ::open(path, O_RDWR | O_NOCTTY | O_CLOEXEC);
        termios settings = {};
        if (nearEnd < 0 || ::tcgetattr(nearEnd, &settings) != 0)
            fail("opening the pseudo-terminal's near end");
        ::cfmakeraw(&settings);
        ::tcsetattr(nearEnd, TCSANOW, &settings);
        m_paths.push_back(QFile::decodeName(path));
        m_nearEnds.push_back(nearEnd);
        lines.push_back(line);
    }
    m_process = ::fork();
    if (m_process < 0)
        fail("starting the far ends");
    if (m_process == 0)
        serve(protocol, lines, delay);
    for (const int line : lines)
        ::close(line);
}

FarEnds::~FarEnds()
{
    for (const int nearEnd : m_nearEnds)
        ::close(nearEnd);
    ::kill(m_process, SIGKILL);
    ::waitpid(m_process, nullptr, 0);
}

}
