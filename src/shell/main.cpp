#include "shell/mainwindow.h"
#include "shell/run.h"
#include "shell/startup.h"
#include "shell/version.h"

#include <QApplication>
#include <QIcon>

int main(int argc, char* argv[])
{
    useWaylandWithoutX11();
    scaleWithDisplay();
    disableOpenGl();
    ignoreWriteSignals();
    QGuiApplication::setDesktopFileName(QStringLiteral("tovalink"));
    const QApplication application(argc, argv);
    QApplication::setStyle(createStyle());
    // The only top-level window: closing it ends the event loop.
    TOVAMainWindow window;
    QApplication::setWindowIcon(QIcon(QStringLiteral(":/images/tovalink.png")));
    window.setWindowTitle(QString::fromLatin1(ver));
    return run(window);
}
