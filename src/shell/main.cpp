#include "shell/mainwindow.h"
#include "shell/sessionend.h"
#include "shell/startup.h"
#include "shell/terminationsignals.h"
#include "shell/version.h"

#include <QApplication>
#include <QIcon>
#include <QThreadPool>

#include <cstdlib>

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
    const TerminationSignals termination;
    QObject::connect(&termination, &TerminationSignals::received, &window, &QWidget::close);
    const SessionEnd sessionEnd(window);
    window.show();
    const int result = QApplication::exec();
    // Everything is saved by now, and Qt would wait for ever for a bus that does not answer.
    if (!QThreadPool::globalInstance()->waitForDone(1000)) {
        std::_Exit(result);
    }
    return result;
}
