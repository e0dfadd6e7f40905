// JSON as it is printed: an array of objects as they come, a line for each. Bytes that are
// not UTF-8, which JSON cannot hold, become U+FFFD; control characters are escaped.

#ifndef KIVPLUG_JSON_H
#define KIVPLUG_JSON_H

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "descriptor.h"

namespace kivplug {

// An object, to which members are added under different names.
class json_object {
  public:
    void add(std::string const& name, std::string const& value);
    void add(std::string const& name, long long value);
    void add(std::string const& name, std::map<std::string, std::string> const& values);
    void add(std::string const& name, std::vector<std::string> const& values);
    void add(std::string const& name, std::vector<json_object> const& values);

    // On one line, without its end.
    std::string text() const { return "{" + members + "}"; }

  private:
    void add_written(std::string const& name, std::string const& value);

    std::string members;
};

class json_array {
  public:
    explicit json_array(byte_sink& sink) : out(sink) {}

    // Writes the object.
    void add(json_object const& object);

    // Writes the end. Allocates nothing.
    void end();

    bool is_empty() const noexcept { return empty; }

  private:
    byte_sink& out;
    bool empty = true;
};

// Calls fill, which prints what a verb prints: with an array to add to for JSON, otherwise with
// null. When fill raises after the first object, the array is ended all the same, so that the
// output is JSON; when it raises before, nothing is printed.
void print_items(byte_sink& out, bool as_json, std::function<void(json_array*)> const& fill);

}  // namespace kivplug

#endif
