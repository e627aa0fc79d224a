#pragma once

class QString;

/// Adds the recent files and folders of an XML file to TOVAConfiguration; true if all of the file
/// was well-formed.
bool readConfigurationFile(const QString& fileName);
