#include "shell/mainwindow.h"
#include "shell/sessionend.h"
#include "shell/startup.h"
#include "shell/terminationsignals.h"
#include "shell/version.h"

#include <QApplication>
#include <QIcon>

int main(int argc, char* argv[])
{
    useUnicodeFileNames();
    doWithoutOpenGl();
    outliveFailedWrites();
    QGuiApplication::setDesktopFileName(QStringLiteral("tovalink"));
    TerminationSignals termination;
    const QApplication application(argc, argv);
    QApplication::setStyle(createStyle());
    // The only window of its own: closing it ends the event loop.
    TOVAMainWindow window;
    QApplication::setWindowIcon(QIcon(QStringLiteral(":/images/tovalink.png")));
    window.setWindowTitle(QString::fromLatin1(ver));
    QObject::connect(&termination, &TerminationSignals::received, &window, &QWidget::close);
    termination.listen();
    const SessionEnd sessionEnd(window);
    window.show();
    return QApplication::exec();
}
