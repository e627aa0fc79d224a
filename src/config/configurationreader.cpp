// Qt 5.15 marks its event-driven XML reader as deprecated in favour of QXmlStreamReader. It is kept
// because it hands out every element up to the first error as it goes.
#define QT_NO_DEPRECATED_WARNINGS

#include "config/configurationreader.h"

#include "config/configuration.h"
#include "config/configurationkinds.h"

#include <QFile>
#include <QFileInfo>
#include <QXmlDefaultHandler>
#include <QXmlInputSource>
#include <QXmlSimpleReader>

namespace
{

// The reader limits neither its memory nor its stack nor its time, so its input is limited. The
// program's own files stay far below: eighteen paths, two levels, and neither entities nor element
// declarations.
constexpr qint64 maxFileSize = 1 << 20;
constexpr int maxDepth = 100;

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
        --m_depth;
        return true;
    }

private:
    int m_depth = 0;
};

bool TOVAConfigurationParser::startElement(const QString& /*namespaceURI*/,
                                           const QString& /*localName*/, const QString& qName,
                                           const QXmlAttributes& atts)
{
    const QString path = atts.value(QStringLiteral("path"));
    for (const ConfigurationKind& kind : configurationKinds) {
        if (qName == QLatin1String(kind.element)) {
            addRecentFile(kind.files, path, false);
        } else if (qName == QLatin1String(kind.folderElement)) {
            kind.folder = path;
        }
    }
    return ++m_depth <= maxDepth;
}

/// Feeds `content` to the source, truncated before anything dangerous; false if it was truncated.
bool setBounded(QXmlInputSource& source, const QByteArray& content)
{
    QXmlInputSource decoder;
    decoder.setData(content.left(maxFileSize));
    const QString text = decoder.data();
    const auto declaration = text.indexOf(QLatin1String("<!E"));
    source.setData(text.left(declaration));
    return declaration < 0 && content.size() <= maxFileSize;
}

} // namespace

bool readConfigurationFile(const QString& fileName)
{
    QFile file(fileName);
    // Opening a pipe would wait for its writer.
    if (!QFileInfo(fileName).isFile() || !file.open(QIODevice::ReadOnly)) {
        return false;
    }
    QXmlInputSource source;
    const bool isWhole = setBounded(source, file.read(maxFileSize + 1));
    TOVAConfigurationParser parser;
    QXmlSimpleReader reader;
    reader.setContentHandler(&parser);
    // The reader's search for a namespace takes hours if a thousand of them are declared.
    reader.setFeature(QStringLiteral("http://xml.org/sax/features/namespaces"), false);
    return reader.parse(source) && isWhole;
}

bool TOVAConfiguration::readConfig()
{
    return readConfigurationFile(QLatin1String(configurationFile));
}
