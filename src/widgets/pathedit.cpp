#include "widgets/pathedit.h"

#include "widgets/localfile.h"

#include <QMimeData>

namespace
{

QString withoutLineEnds(QString text)
{
    while (text.endsWith(QLatin1Char('\n')) || text.endsWith(QLatin1Char('\r'))) {
        text.chop(1);
    }
    return text;
}

} // namespace

void PathEdit::receive(const QMimeData& content, bool isDropped)
{
    if (!holdsUrls(content)) {
        const QString text = withoutLineEnds(content.text());
        isDropped ? replaceText(*this, text) : insertText(*this, text);
    } else if (const QString file = localFile(content); !file.isEmpty()) {
        replaceText(*this, file);
    } else {
        tell(QStringLiteral("Takes one file at a time, from this computer"));
    }
}
