#include "config/configuration.h"
#include "config/configurationkinds.h"
#include "config/savefile.h"

#include <algorithm>

namespace
{

bool isXmlCharacter(char32_t character)
{
    return character == U'\t' || character == U'\n' || character == U'\r' ||
           (character >= 0x20 && character <= 0xD7FF) ||
           (character >= 0xE000 && character <= 0xFFFD) || character >= 0x10000;
}

/// Whether XML can carry the path: one control character would make the rest of the file
/// unreadable.
bool isSaveable(const QString& path)
{
    const auto characters = path.toUcs4();
    return path.isValidUtf16() && std::all_of(characters.begin(), characters.end(), isXmlCharacter);
}

QString line(const char* element, QString path)
{
    path.replace(QLatin1Char('&'), QStringLiteral("&amp;"));
    path.replace(QLatin1Char('<'), QStringLiteral("&lt;"));
    path.replace(QLatin1Char('"'), QStringLiteral("&quot;"));
    return QLatin1Char('<') + QLatin1String(element) + QStringLiteral(" path=\"") + path +
           QStringLiteral("\"/>\n");
}

/// The folder, then the recent files.
QString lines(const ConfigurationKind& kind)
{
    QString text = line(kind.folderElement, isSaveable(kind.folder) ? kind.folder : QString());
    for (const QString& file : kind.files) {
        if (isSaveable(file)) {
            text += line(kind.element, file);
        }
    }
    return text;
}

} // namespace

bool TOVAConfiguration::dumpConfig()
{
    QString text = QStringLiteral("<?xml version='1.0' encoding='UTF-8' ?>\n<tovaconfig>\n");
    for (const ConfigurationKind& kind : configurationKinds) {
        text += lines(kind);
    }
    text += QStringLiteral("</tovaconfig>\n");
    return saveFile(QLatin1String(configurationFile), text.toUtf8());
}
