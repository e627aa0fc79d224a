#include "shell/terminationsignals.h"

#include <QSocketNotifier>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <ctime>
#include <sys/socket.h>
#include <unistd.h>

namespace
{

constexpr std::array terminationSignals{SIGHUP, SIGINT, SIGTERM};
constexpr std::int64_t nsPerSecond = 1'000'000'000;
/// A terminal or a session that ends sends two signals at once.
constexpr std::int64_t signalsThatBelongTogetherNs = 2 * nsPerSecond;

/// The handler writes to this socket, which stays open until the process ends, as the handler does.
int s_handlerSocket = -1;
std::atomic<std::int64_t> s_firstSignalNs{0};
static_assert(decltype(s_firstSignalNs)::is_always_lock_free, "for use in a signal handler");

std::int64_t nowNs()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * nsPerSecond + now.tv_nsec;
}

/// Calls only functions that are safe in a signal handler.
void handleSignal(int number)
{
    const int savedErrno = errno;
    const std::int64_t now = nowNs();
    std::int64_t first = 0;
    if (s_firstSignalNs.compare_exchange_strong(first, now)) {
        static_cast<void>(::send(s_handlerSocket, "", 1, MSG_NOSIGNAL));
    } else if (now - first > signalsThatBelongTogetherNs) {
        // Delivered when the handler returns: the exit status tells the signal.
        static_cast<void>(std::signal(number, SIG_DFL));
        static_cast<void>(std::raise(number));
    }
    errno = savedErrno;
}

void handleUnlessIgnored(int number)
{
    struct sigaction action {
    };
    sigaction(number, nullptr, &action);
    if (action.sa_handler == SIG_IGN) {
        return;
    }
    action = {};
    action.sa_handler = handleSignal;
    action.sa_flags = SA_RESTART;
    sigaction(number, &action, nullptr);
}

} // namespace

TerminationSignals::TerminationSignals()
{
    std::array<int, 2> sockets{};
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, sockets.data()) != 0) {
        return;
    }
    m_socket = sockets[0];
    s_handlerSocket = sockets[1];
    auto* notifier = new QSocketNotifier(m_socket, QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, &TerminationSignals::emitReceived);
    for (const int each : terminationSignals) {
        handleUnlessIgnored(each);
    }
}

TerminationSignals::~TerminationSignals()
{
    if (m_socket >= 0) {
        ::close(m_socket);
    }
}

void TerminationSignals::emitReceived()
{
    char byte = 0;
    if (::read(m_socket, &byte, 1) == 1) {
        emit received();
    }
}
