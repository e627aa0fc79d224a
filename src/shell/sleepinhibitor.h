#pragma once

#include <QObject>

#include <memory>
#include <optional>

class QDBusPendingCall;

/// Keeps the machine awake during a long operation by asking the login manager. Nothing waits for
/// the answer, and everything goes on without a login manager or if it refuses.
class SleepInhibitor : public QObject
{
    Q_OBJECT

public:
    explicit SleepInhibitor(QObject* parent);

    /// The desktop may show `reason` to the user.
    void hold(const QString& reason);
    void release();

private:
    /// The reply holds a descriptor that keeps the machine awake while the descriptor is open.
    using Reply = std::optional<QDBusPendingCall>;
    std::shared_ptr<Reply> m_reply;
};
