#pragma once

#include <functional>

/// Saves what a recording has not saved yet if the program ends by exit(). The toolkit calls exit()
/// from inside an event pass when the display or the session manager is lost. Nothing may be shown
/// then.
class AtExit
{
public:
    /// Calls `save` at such an end, as long as the object lives. There is one object at a time.
    explicit AtExit(std::function<void()> save);
    ~AtExit() { release(); }
    AtExit(const AtExit&) = delete;
    AtExit& operator=(const AtExit&) = delete;

    /// There is nothing left to save.
    void release();
};
