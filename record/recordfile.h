#pragma once

class QFile;

/// Writes the eight bytes that a record file begins with.
void writeRecordFileHeader(QFile& file, bool newExlFormat);
