#include "finding.h"

namespace kivplug {

std::string location::text() const {
    std::string text = file;
    for (int const number : {line, column}) {
        if (number > 0) {
            text += ":" + std::to_string(number);
        }
    }
    return text;
}

}  // namespace kivplug
