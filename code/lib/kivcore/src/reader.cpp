#include "kivcore/reader.h"

namespace kivcore {

reader::~reader() = default;

std::string reader::kind() {
    return k_kind_reader;
}

}  // namespace kivcore
