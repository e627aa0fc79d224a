// Qt 5.15 marks its event-driven XML reader as deprecated in favour of QXmlStreamReader. It is kept
// because it hands out every element up to the first error as it goes.
#define QT_NO_DEPRECATED_WARNINGS

#include "config/configurationreader.h"

#include "config/configuration.h"

#include <QFile>
#include <QFileInfo>
#include <QXmlDefaultHandler>
#include <QXmlInputSource>
#include <QXmlSimpleReader>

namespace
{

/// Applies each element to the configuration as it is read.
class TOVAConfigurationParser : public QXmlDefaultHandler
{
public:
    bool startDocument() override { return true; }
    bool startElement(const QString& namespaceURI, const QString& localName, const QString& qName,
                      const QXmlAttributes& atts) override;
    bool endElement(const QString& /*namespaceURI*/, const QString& /*localName*/,
                    const QString& /*qName*/) override
    {
        return true;
    }
};

bool TOVAConfigurationParser::startElement(const QString& /*namespaceURI*/,
                                           const QString& /*localName*/, const QString& qName,
                                           const QXmlAttributes& atts)
{
    const QString path = atts.value(QStringLiteral("path"));
    if (qName == QLatin1String("lastlodfolder")) {
        TOVAConfiguration::setLastLodFolder(path);
    } else if (qName == QLatin1String("lastlod")) {
        TOVAConfiguration::addLastLod(path, false);
    } else if (qName == QLatin1String("lastcfpfolder")) {
        TOVAConfiguration::setLastCfpFolder(path);
    } else if (qName == QLatin1String("lastcfp")) {
        TOVAConfiguration::addLastCfp(path, false);
    } else if (qName == QLatin1String("lastprffolder")) {
        TOVAConfiguration::setLastPrfFolder(path);
    } else if (qName == QLatin1String("lastprf")) {
        TOVAConfiguration::addLastPrf(path, false);
    }
    return true;
}

} // namespace

bool readConfigurationFile(const QString& fileName)
{
    QFile file(fileName);
    // Opening a pipe would wait for its writer.
    if (!QFileInfo(fileName).isFile() || !file.open(QIODevice::ReadOnly)) {
        return false;
    }
    QXmlInputSource source(&file);
    TOVAConfigurationParser parser;
    QXmlSimpleReader reader;
    reader.setContentHandler(&parser);
    return reader.parse(source);
}
