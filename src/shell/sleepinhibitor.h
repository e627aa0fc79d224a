#pragma once

#include <QObject>

#include <memory>
#include <optional>

class QDBusPendingCall;

/// Keeps the machine from falling asleep while something goes on that takes long. It asks the login
/// manager; nothing waits for the answer, and a refusal, or a machine without one, changes nothing.
class SleepInhibitor : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

    /// `reason` is what the desktop tells its user about it.
    void hold(const QString& reason);
    void release();

private:
    /// The reply in it holds the descriptor that keeps the machine awake as long as it is open.
    using Reply = std::optional<QDBusPendingCall>;
    std::shared_ptr<Reply> m_reply;
};
