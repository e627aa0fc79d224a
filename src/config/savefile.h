#pragma once

class QByteArray;
class QString;

/// Makes `content` all that the file holds; false if that failed. A plain file is replaced, so that
/// it is whole at any moment, and keeps its owner, group and mode. What cannot be replaced is
/// written in place: a device, a pipe with a reader, a mount point, a file in a folder or of an
/// owner that is not ours to change.
bool saveFile(const QString& name, const QByteArray& content);
