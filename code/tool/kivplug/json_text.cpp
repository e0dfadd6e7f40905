#include "json_text.h"

#include <nlohmann/json.hpp>

namespace kivplug {

namespace {

constexpr int k_indent = 4;
// Else a file name that is no UTF-8 would make the whole output fail.
constexpr auto k_replace = nlohmann::json::error_handler_t::replace;

}  // namespace

std::string json_text(nlohmann::json const& value) {
    return value.dump(k_indent, ' ', false, k_replace) + "\n";
}

std::string json_line(nlohmann::json const& value) {
    return value.dump(-1, ' ', false, k_replace);
}

}  // namespace kivplug
