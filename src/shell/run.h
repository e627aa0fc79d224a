#pragma once

class TOVAMainWindow;

/// Runs the program until its window is closed, by the user, a termination signal or the end of the
/// session. Returns the exit code. Create the application and the window before.
int run(TOVAMainWindow& window);
