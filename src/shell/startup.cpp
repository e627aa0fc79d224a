#include "shell/startup.h"

#include <QGuiApplication>
#include <QStyle>
#include <QStyleFactory>
#include <QtGlobal>

#include <csignal>

void useWaylandWithoutX11()
{
    constexpr auto name = "QT_QPA_PLATFORM";
    if (qEnvironmentVariableIsEmpty(name) && qEnvironmentVariableIsEmpty("DISPLAY") &&
        !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY")) {
        qputenv(name, "wayland");
    }
}

void scaleWithDisplay()
{
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
    QGuiApplication::setAttribute(Qt::AA_EnableHighDpiScaling);
    QGuiApplication::setAttribute(Qt::AA_UseHighDpiPixmaps);
#endif
    // A fractional factor leaves gaps in the frames of the groups, and at 144 dpi twice the size is
    // too large for a common screen. So up to 144 dpi only the text grows.
    QGuiApplication::setHighDpiScaleFactorRoundingPolicy(
        Qt::HighDpiScaleFactorRoundingPolicy::RoundPreferFloor);
}

void disableOpenGl()
{
    constexpr auto name = "QT_XCB_GL_INTEGRATION";
    if (qEnvironmentVariableIsEmpty(name)) {
        qputenv(name, "none");
    }
}

void ignoreWriteSignals()
{
    static_cast<void>(std::signal(SIGXFSZ, SIG_IGN));
    static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
}

QStyle* createStyle()
{
    QStyle* plastique = QStyleFactory::create(QStringLiteral("Plastique"));
    return plastique != nullptr ? plastique : QStyleFactory::create(QStringLiteral("Fusion"));
}
