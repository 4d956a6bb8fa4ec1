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

void EndSignals::end()
{
    ::pthread_kill(m_owner, SIGTERM);
}
