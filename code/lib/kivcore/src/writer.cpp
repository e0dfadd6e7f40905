#include "kivcore/writer.h"

namespace kivcore {

writer::~writer() = default;

std::string writer::kind() {
    return k_kind_writer;
}

}  // namespace kivcore
