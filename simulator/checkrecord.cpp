#include "simulator/recordcheck.h"

#include <exception>
#include <iostream>
#include <string_view>

int main(int argumentCount, char** arguments)
{
    const bool isStrict = argumentCount > 1 && std::string_view(arguments[1]) == "--strict";
    const int first = isStrict ? 2 : 1;
    if (first >= argumentCount) {
        std::cerr << "usage: checkrecord [--strict] FILE...\n";
        return 2;
    }
    int result = 0;
    for (int place = first; place < argumentCount; ++place) {
        std::cout << arguments[place] << ": ";
        try {
            std::cout << simulator::checkRecord(arguments[place], isStrict) << std::endl;
        } catch (const std::exception& fault) {
            std::cout << fault.what() << std::endl;
            result = 1;
        }
    }
    return result;
}
