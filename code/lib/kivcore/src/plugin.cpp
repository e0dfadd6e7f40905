#include "kivcore/plugin.h"

namespace kivcore {

std::string const plugin::k_kind_browser = "browser";
std::string const plugin::k_kind_monitor = "monitor";
std::string const plugin::k_kind_reader = "reader";
std::string const plugin::k_kind_writer = "writer";

plugin::~plugin() = default;

}  // namespace kivcore
