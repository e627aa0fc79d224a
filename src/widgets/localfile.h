#pragma once

class QMimeData;
class QString;

/// The path of the one local file in `data`, which a file manager gives as a URL or as text of the
/// form "file:///...". Empty if `data` holds no file, several files, or a file on another computer.
QString localFile(const QMimeData& data);

/// Whether `data` holds URLs (files or web addresses) rather than text.
bool holdsUrls(const QMimeData& data);
