#pragma once

class QLabel;
class QProgressBar;

/// The widgets that the progress callbacks update, because the board library passes no context to
/// them. Set by the one Burn tab, which owns both.
extern QProgressBar* s_progress;
extern QLabel* s_label;

/// Whether burn progress was reported since the label last changed to "Verifying...".
extern bool s_newBurnProcess;

/// Shows the fraction done (0 to 1) of burning, and lets the window paint and answer.
void burnProgress(float fraction);

/// The same for verifying; the first report after burning changes the label.
void verifyProgress(float fraction);
