#include "shell/run.h"

#include "shell/mainwindow.h"
#include "shell/sessionend.h"
#include "shell/terminationsignals.h"

#include <QApplication>
#include <QThreadPool>

#include <cstdlib>

int run(TOVAMainWindow& window)
{
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
