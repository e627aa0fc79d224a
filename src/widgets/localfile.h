#pragma once

class QMimeData;
class QString;

/// The path of the one file of this computer that `data` holds, as a file manager hands it over, or
/// as text of the form "file:///..."; empty if it holds no file, several, or one elsewhere.
QString localFile(const QMimeData& data);

/// Whether `data` is about files or web addresses, not about text.
bool holdsUrls(const QMimeData& data);
