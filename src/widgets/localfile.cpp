#include "widgets/localfile.h"

#include <QMimeData>
#include <QSysInfo>
#include <QUrl>

namespace
{

QList<QUrl> urlsIn(const QMimeData& data)
{
    if (data.hasUrls()) {
        return data.urls();
    }
    const QString text = data.text().trimmed();
    return text.startsWith(QLatin1String("file:/"))
               ? QUrl::fromStringList(text.split(QLatin1Char('\n'), Qt::SkipEmptyParts))
               : QList<QUrl>();
}

bool isHere(const QUrl& url)
{
    const QString host = url.host();
    return url.isLocalFile() &&
           (host.isEmpty() || host == QLatin1String("localhost") ||
            host.compare(QSysInfo::machineHostName(), Qt::CaseInsensitive) == 0);
}

} // namespace

QString localFile(const QMimeData& data)
{
    const QList<QUrl> urls = urlsIn(data);
    return urls.size() == 1 && isHere(urls.first()) ? urls.first().path(QUrl::FullyDecoded)
                                                    : QString();
}

bool holdsUrls(const QMimeData& data)
{
    return !urlsIn(data).isEmpty();
}
