#include "shell/sleepinhibitor.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QThreadPool>

namespace
{

QDBusMessage inhibitRequest(const QString& reason)
{
    QDBusMessage request = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.login1"), QStringLiteral("/org/freedesktop/login1"),
        QStringLiteral("org.freedesktop.login1.Manager"), QStringLiteral("Inhibit"));
    request << QStringLiteral("sleep:idle") << QStringLiteral("Tovalink") << reason
            << QStringLiteral("block");
    return request;
}

} // namespace

void SleepInhibitor::hold(const QString& reason)
{
    m_reply = std::make_shared<Reply>();
    // In another thread, because connecting to the bus blocks until the bus answers.
    QThreadPool::globalInstance()->start([reason, wanted = std::weak_ptr<Reply>(m_reply)] {
        const QDBusConnection bus = QDBusConnection::systemBus();
        if (const auto reply = wanted.lock()) {
            reply->emplace(bus.asyncCall(inhibitRequest(reason)));
        }
    });
}

void SleepInhibitor::release()
{
    m_reply.reset();
}
