#include "record/atexit.h"

#include <cstdlib>
#include <utility>

namespace
{

std::function<void()> s_save;

void saveNow()
{
    if (const auto save = std::exchange(s_save, nullptr)) {
        save();
    }
}

} // namespace

AtExit::AtExit(std::function<void()> save)
{
    // Registered late, so that the handler runs before anything that it needs is destroyed.
    [[maybe_unused]] static const int isRegistered = std::atexit(saveNow);
    s_save = std::move(save);
}

void AtExit::release()
{
    s_save = nullptr;
}
