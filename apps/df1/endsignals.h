// Ctrl-C and its like, waited for instead of ending the program in the middle of
// something.
#pragma once

#include <csignal>
#include <pthread.h>

/// Holds SIGINT and SIGTERM back in the thread that makes it, and in all that this
/// thread starts afterwards, for as long as the program runs. Made before any thread.
class EndSignals
{
public:
    EndSignals();

    /// Returns when one of the signals has come, or somebody has called end(). In the
    /// thread that made this.
    void wait();
    /// Waits @p milliseconds at most; whether a signal, or end(), has come.
    bool waitFor(int milliseconds);
    /// As if a signal had come. For any thread.
    void end();

private:
    sigset_t m_signals;
    pthread_t m_owner;
};
