#include "shell/startup.h"

#include <QStyle>
#include <QStyleFactory>
#include <QtGlobal>

#include <clocale>
#include <csignal>
#include <cstring>
#include <langinfo.h>

void useUnicodeFileNames()
{
    static_cast<void>(std::setlocale(LC_ALL, ""));
    if (std::strcmp(nl_langinfo(CODESET), "ANSI_X3.4-1968") == 0) {
        qputenv(qEnvironmentVariableIsEmpty("LC_ALL") ? "LC_CTYPE" : "LC_ALL", "C.UTF-8");
    }
}

void doWithoutOpenGl()
{
    constexpr auto name = "QT_XCB_GL_INTEGRATION";
    if (qEnvironmentVariableIsEmpty(name)) {
        qputenv(name, "none");
    }
}

void outliveFailedWrites()
{
    static_cast<void>(std::signal(SIGXFSZ, SIG_IGN));
    static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
}

QStyle* createStyle()
{
    QStyle* plastique = QStyleFactory::create(QStringLiteral("Plastique"));
    return plastique != nullptr ? plastique : QStyleFactory::create(QStringLiteral("Fusion"));
}
