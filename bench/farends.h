// Far ends of pseudo-terminals, in a process of their own so that what they cost is not
// counted: every ten-word poll is answered with a single write.
#pragma once

#include <QString>
#include <chrono>
#include <sys/types.h>
#include <vector>

namespace bench {

const int WORDS = 10;

class FarEnds
{
public:
    enum Speaks
    {
        Df1, ///< any request of requests()
        Rtu  ///< Modbus RTU, a read of WORDS holding registers of station 1
    };

    /// @p count lines; each request is answered @p delay after it has come. Ends the
    /// program when the system gives no pseudo-terminals.
    explicit FarEnds(Speaks protocol, int count = 1,
                     std::chrono::microseconds delay = std::chrono::microseconds(0));
    ~FarEnds();
    FarEnds(const FarEnds&) = delete;
    FarEnds& operator=(const FarEnds&) = delete;

    /// What to open; one for each line.
    const std::vector<QString>& paths() const { return m_paths; }

private:
    std::vector<int> m_nearEnds; // they keep the terminals' settings
    pid_t m_process = -1;
    std::vector<QString> m_paths;
};

}
