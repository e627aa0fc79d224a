#pragma once

class QStyle;

/// Chooses Wayland if that is the only display and the environment names no platform. Call this
/// before the application object exists.
void useWaylandWithoutX11();

/// Scales the window with the density that the desktop asks for. Call this before the application
/// object exists.
void scaleWithDisplay();

/// Keeps Qt from loading OpenGL on X11, which takes longer than the rest of the start and is not
/// used. QT_XCB_GL_INTEGRATION in the environment takes precedence. Call this before the
/// application object exists.
void disableOpenGl();

/// Makes a write beyond the limit on file sizes, or into a pipe without a reader, fail like a write
/// to a full disk. By default a signal would end the program and the recording.
void ignoreWriteSignals();

/// Creates the window's style: Plastique, or Fusion if Plastique's plugin is not installed. The
/// caller owns the style until QApplication::setStyle() takes it over.
QStyle* createStyle();
