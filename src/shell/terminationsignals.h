#pragma once

#include <QObject>

/// Turns the signals by which a session or a terminal ends the program into an event, so that it
/// ends as it does when its window is closed, with nothing lost.
class TerminationSignals : public QObject
{
    Q_OBJECT

public:
    /// To be created before the application object, whose threads would take the signals otherwise.
    TerminationSignals();
    ~TerminationSignals() override;
    TerminationSignals(const TerminationSignals&) = delete;
    TerminationSignals& operator=(const TerminationSignals&) = delete;

    /// Begins to emit received(); needs the application object.
    void listen();

signals:
    void received();

private:
    void take();

    int m_descriptor;
};
