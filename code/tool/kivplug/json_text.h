// JSON as it is printed. Bytes that are no UTF-8, which JSON cannot hold, become U+FFFD.

#ifndef KIVPLUG_JSON_TEXT_H
#define KIVPLUG_JSON_TEXT_H

#include <string>

#include <nlohmann/json_fwd.hpp>

namespace kivplug {

// Indented, for people and programs; ends with a newline.
std::string json_text(nlohmann::json const& value);

// On one line, without its end.
std::string json_line(nlohmann::json const& value);

}  // namespace kivplug

#endif
