#include "shell/terminationsignals.h"

#include <QSocketNotifier>

#include <csignal>
#include <sys/signalfd.h>
#include <unistd.h>

namespace
{

sigset_t terminationSet()
{
    sigset_t set;
    sigemptyset(&set);
    for (const int each : {SIGHUP, SIGINT, SIGTERM}) {
        sigaddset(&set, each);
    }
    return set;
}

} // namespace

TerminationSignals::TerminationSignals()
{
    const sigset_t set = terminationSet();
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
    m_descriptor = signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
}

TerminationSignals::~TerminationSignals()
{
    ::close(m_descriptor);
}

void TerminationSignals::listen()
{
    auto* notifier = new QSocketNotifier(m_descriptor, QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, &TerminationSignals::take);
}

void TerminationSignals::take()
{
    signalfd_siginfo signal{};
    if (::read(m_descriptor, &signal, sizeof signal) == sizeof signal) {
        emit received();
    }
}
