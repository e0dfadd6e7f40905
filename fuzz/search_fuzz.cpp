// The first line of the input is a regular expression, the others are ids. The registry's
// search skips ids that cannot match; a description's search tries every key. Both must
// find the same.

#include <algorithm>

#include <kivcore/kivcore.h>

#include "input.h"

namespace {

using strings = std::vector<std::string>;

// Adds fields until the text has as many as an id needs.
std::string completed(std::string id) {
    while (std::count(id.begin(), id.end(), '/') < 4) {
        id += '/';
    }
    return id;
}

strings sorted(strings texts) {
    std::sort(texts.begin(), texts.end());
    return texts;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    strings const lines = fuzz::parts_of(fuzz::text_of(data, size), '\n');
    std::string const& expression = lines.front();

    kivcore::plugins registry("");
    kivcore::__info description;
    for (std::size_t i = 1; i < lines.size(); ++i) {
        registry.register_with_id(completed(lines[i]), nullptr, "");
    }
    for (std::string const& id : registry.find_plugins("(?s).*")) {
        description.values[id] = "";
    }

    strings const found = sorted(registry.find_plugins(expression));
    strings keys;
    description.find(expression, keys);
    fuzz::require(found == keys, "a search finds every id that matches");
    return 0;
}
