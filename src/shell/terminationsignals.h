#pragma once

#include <QObject>

/// Turns the first SIGHUP, SIGINT or SIGTERM into received(), so that the program can end as if its
/// window were closed. A signal more than two seconds later ends the program at once, even if the
/// board library never returns. A signal that is ignored when the object is created stays ignored.
/// There is one object in a program.
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
