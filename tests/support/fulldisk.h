#pragma once

#include <csignal>
#include <sys/resource.h>

/// A disk that takes only so many bytes of any file, as long as the object lives: the write that
/// goes beyond them is short, the next one fails.
class FullDisk
{
public:
    explicit FullDisk(rlim_t bytes)
    {
        static_cast<void>(std::signal(SIGXFSZ, SIG_IGN));
        getrlimit(RLIMIT_FSIZE, &m_before);
        const rlimit full{bytes, m_before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &full);
    }
    ~FullDisk() { setrlimit(RLIMIT_FSIZE, &m_before); }
    FullDisk(const FullDisk&) = delete;
    FullDisk& operator=(const FullDisk&) = delete;

private:
    rlimit m_before{};
};
