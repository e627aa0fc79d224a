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

SleepInhibitor::SleepInhibitor(QObject* parent) : QObject(parent)
{
    // An exit() destroys what was made last first. So what any connection needs is made before the
    // threads, which are waited for when they are destroyed, and before a recording that has to be
    // saved.
    const QString none = QStringLiteral("none");
    QDBusConnection::connectToBus(QStringLiteral("unix:path=/nonexistent"), none);
    QDBusConnection::disconnectFromBus(none);
    QThreadPool::globalInstance();
}

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
