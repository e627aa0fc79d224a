// Preloaded into a program, it ends it as soon as its window's first picture is complete.

#include <QBackingStore>

#include <unistd.h>

void QBackingStore::flush(const QRegion& /*region*/, QWindow* /*window*/, const QPoint& /*offset*/)
{
    _exit(0);
}
