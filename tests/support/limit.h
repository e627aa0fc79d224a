#pragma once

#include <csignal>
#include <sys/resource.h>

/// Calls `act` while the process may have only so many bytes of a resource: of any file
/// (RLIMIT_FSIZE), as if the disk were full, or of memory (RLIMIT_DATA).
template <class Act>
void withLimit(__rlimit_resource resource, rlim_t bytes, Act act)
{
    static_cast<void>(std::signal(SIGXFSZ, SIG_IGN));
    rlimit before{};
    getrlimit(resource, &before);
    const rlimit scarce{bytes, before.rlim_max};
    setrlimit(resource, &scarce);
    act();
    setrlimit(resource, &before);
}
