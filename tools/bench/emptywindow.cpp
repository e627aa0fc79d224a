// A window with nothing in it, in the program's style: what Qt itself needs for a start.

#include "shell/startup.h"

#include <QApplication>
#include <QWidget>

int main(int argc, char* argv[])
{
    const QApplication application(argc, argv);
    QApplication::setStyle(createStyle());
    QWidget window;
    window.show();
    return QApplication::exec();
}
