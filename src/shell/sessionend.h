#pragma once

#include <QObject>

class TOVAMainWindow;

/// Makes the end of the user's session work like closing the window: the recording is saved, and an
/// open box still gets its answer. A session manager that only asks to save ends nothing, because
/// the session may go on. Create the object after the application and the window.
class SessionEnd : public QObject
{
    Q_OBJECT

public:
    explicit SessionEnd(TOVAMainWindow& window);

    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    TOVAMainWindow& m_window;
};
