#include "morbase/object_refcount.h"

namespace morbase {

object_refcount::~object_refcount() = default;

}  // namespace morbase
