#include "record/recordfile.h"

#include <QFile>

#include <array>

void writeRecordFileHeader(QFile& file, bool newExlFormat)
{
    constexpr std::array<char, 4> magic = {'D', 'B', 'G', 'P'};
    const std::array<char, 4> format = {1, 0, newExlFormat ? char(2) : char(1), 0};
    file.write(magic.data(), magic.size());
    file.write(format.data(), format.size());
}
