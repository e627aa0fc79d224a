#pragma once

class QStyle;

/// Chooses Wayland where that is the only display there is and nothing else was asked for. To be
/// called before the application object exists.
void useWaylandWithoutX11();

/// Lets the window grow with the density that the desktop asks for. To be called before the
/// application object exists.
void scaleWithDisplay();

/// Keeps Qt from loading OpenGL for a window on X11, which takes longer than the rest of the start
/// and of which nothing is used; an environment that asks for it gets it. To be called before the
/// application object exists.
void disableOpenGl();

/// Lets a write past a limit on the size of files, or into a pipe that nobody reads any more, fail
/// as on a full disk, instead of ending the program by a signal and with it the recording.
void ignoreWriteSignals();

/// The style the window is drawn in: Plastique, or Fusion where its plugin is not installed. The
/// caller, or the application it is handed to, owns it.
QStyle* createStyle();
