#pragma once

class QByteArray;
class QString;

/// Makes `content` the whole content of the file; false if that failed. A plain file is replaced,
/// so that the file is whole at any moment, and keeps its owner, group and mode. A file that cannot
/// be replaced is written in place: a device, a pipe with a reader, a mount point, a file in a
/// folder that we may not write to, or whose owner we cannot keep.
bool saveFile(const QString& name, const QByteArray& content);
