#pragma once

class TOVAMainWindow;

/// Shows the window and runs the program until the window is closed: by the user, a termination
/// signal or the end of the session. Returns the exit code.
int run(TOVAMainWindow& window);
