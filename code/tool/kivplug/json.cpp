#include "json.h"

#include <string_view>

#include <morbase/text.h>

#include "failure.h"
#include "shared/utf8.h"
#include "text.h"

namespace kivplug {

namespace {

constexpr char const* k_replacement = "\xef\xbf\xbd";  // U+FFFD

// One whose code is below 0x10000, as that of every control character is.
std::string escaped(unsigned long code) {
    return morbase::string_with_format("\\u%04lx", code);
}

std::string written(std::string const& text) {
    std::string line = "\"";
    for (std::size_t place = 0; place < text.size();) {
        auto const next = bundled::decoded(text, place);
        if (next.length == 0) {
            line += k_replacement;
        } else if (next.code == '"' || next.code == '\\') {
            line.append(1, '\\').append(1, text[place]);
        } else if (is_control(next.code)) {
            line += escaped(next.code);
        } else {
            line.append(text, place, next.length);
        }
        place += next.length > 0 ? next.length : 1;
    }
    return line += '"';
}

template <typename item, typename writer>
std::string written_list(std::vector<item> const& items, writer const& write) {
    std::string text;
    for (auto const& each : items) {
        text += (text.empty() ? "" : ", ") + write(each);
    }
    return "[" + text + "]";
}

}  // namespace

void json_object::add(std::string const& name, std::string const& value) {
    add_written(name, written(value));
}

void json_object::add(std::string const& name, long long value) {
    add_written(name, std::to_string(value));
}

void json_object::add(std::string const& name, std::map<std::string, std::string> const& values) {
    json_object inner;
    for (auto const& [key, value] : values) {
        inner.add(key, value);
    }
    add_written(name, inner.text());
}

void json_object::add(std::string const& name, std::vector<std::string> const& values) {
    add_written(name, written_list(values, written));
}

void json_object::add(std::string const& name, std::vector<json_object> const& values) {
    add_written(name, written_list(values, [](json_object const& each) { return each.text(); }));
}

void json_object::add_written(std::string const& name, std::string const& value) {
    members += (members.empty() ? "" : ", ") + written(name) + ": " + value;
}

void json_array::add(json_object const& object) {
    out.write((empty ? "[\n    " : ",\n    ") + object.text());
    empty = false;
}

void json_array::end() {
    std::string_view const text = empty ? "[]\n" : "\n]\n";
    out.write(text.data(), text.size());
}

void print_items(byte_sink& out, bool as_json, std::function<void(json_array*)> const& fill) {
    if (!as_json) {
        fill(nullptr);
        return;
    }
    json_array array(out);
    try {
        fill(&array);
    } catch (output_closed const&) {
        throw;
    } catch (...) {
        if (!array.is_empty()) {
            array.end();
        }
        throw;
    }
    array.end();
}

}  // namespace kivplug
