#include "endsignals.h"

EndSignals::EndSignals()
    : m_owner(::pthread_self())
{
    sigemptyset(&m_signals);
    sigaddset(&m_signals, SIGINT);
    sigaddset(&m_signals, SIGTERM);
    ::pthread_sigmask(SIG_BLOCK, &m_signals, nullptr);
}

void EndSignals::wait()
{
    int signal = 0;
    ::sigwait(&m_signals, &signal);
}

bool EndSignals::waitFor(int milliseconds)
{
    const timespec time = {milliseconds / 1000, milliseconds % 1000 * 1000000L};
    return ::sigtimedwait(&m_signals, nullptr, &time) > 0;
}

void EndSignals::end()
{
    ::pthread_kill(m_owner, SIGTERM);
}
