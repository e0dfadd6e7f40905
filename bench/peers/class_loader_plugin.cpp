// The class that class_loader creates.

#include "base.h"

#include <class_loader/class_loader.hpp>

namespace peer {

struct made : base {};

}  // namespace peer

CLASS_LOADER_REGISTER_CLASS(peer::made, peer::base)
