#pragma once

#include <QObject>

class TOVAMainWindow;

/// Lets the end of the user's session end the program as closing its window does: what was recorded
/// is saved, and a box that is open still gets its answer. Nothing ends while the session manager
/// only asks for what is to be saved, since it may go on or call the end off. To be created when
/// the application and the window exist.
class SessionEnd : public QObject
{
    Q_OBJECT

public:
    explicit SessionEnd(TOVAMainWindow& window);

    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    TOVAMainWindow& m_window;
};
