#pragma once

#include <QObject>

/// Turns the first of the signals by which a session or a terminal ends the program into an event,
/// so that it ends as it does when its window is closed, with nothing lost. One that comes more
/// than two seconds later ends the program at once, also where the board library never returns. A
/// signal that is ignored when the object is made stays ignored. Only one object in a program.
class TerminationSignals : public QObject
{
    Q_OBJECT

public:
    TerminationSignals();
    ~TerminationSignals() override;
    TerminationSignals(const TerminationSignals&) = delete;
    TerminationSignals& operator=(const TerminationSignals&) = delete;

signals:
    void received();

private:
    void emitReceived();

    int m_socket = -1;
};
