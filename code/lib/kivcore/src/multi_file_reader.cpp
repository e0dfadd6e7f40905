#include "kivcore/multi_file_reader.h"

namespace kivcore {

multi_file_reader::multi_file_reader() = default;
multi_file_reader::~multi_file_reader() = default;

}  // namespace kivcore
