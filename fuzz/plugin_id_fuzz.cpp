// The input is a list of ids, one on each line. They are registered and listed, and the orders
// of ids and of versions are checked against the rules of a strict weak order.

#include <algorithm>
#include <set>

#include <kivcore/kivcore.h>

#include "input.h"

namespace {

using kivcore::plugin_id_less;
using strings = std::vector<std::string>;

constexpr std::size_t k_compared = 4;  // all triples of this many texts are compared

template <typename order>
void check_order(strings const& texts) {
    bool less[k_compared][k_compared] = {};
    std::size_t const count = std::min(texts.size(), k_compared);
    for (std::size_t a = 0; a < count; ++a) {
        for (std::size_t b = 0; b < count; ++b) {
            less[a][b] = order()(texts[a], texts[b]);
        }
    }
    auto const equivalent = [&](std::size_t a, std::size_t b) {
        return !less[a][b] && !less[b][a];
    };
    for (std::size_t i = 0; i < count * count * count; ++i) {
        std::size_t const a = i % count;
        std::size_t const b = i / count % count;
        std::size_t const c = i / count / count;
        fuzz::require(!less[a][b] || !less[b][a], "no two are each less than the other");
        fuzz::require(!less[a][b] || !less[b][c] || less[a][c], "being less is transitive");
        fuzz::require(!equivalent(a, b) || !equivalent(b, c) || equivalent(a, c),
                      "being equivalent is transitive");
    }
}

// Registers the texts; returns those that must have become ids.
std::set<std::string> register_all(kivcore::plugins& registry, strings const& texts) {
    std::set<std::string> ids;
    for (std::string const& text : texts) {
        if (text.find('|') != std::string::npos) {
            continue;  // a key with several words makes several ids
        }
        bool const is_id = std::count(text.begin(), text.end(), '/') == 4;
        bool const is_new = is_id && ids.insert(text).second;
        fuzz::require(registry.register_with_id(text, nullptr, "name") == is_new,
                      "an id of five fields is registered once");
    }
    return ids;
}

void check_listing(kivcore::plugins const& registry, std::set<std::string> const& ids) {
    strings expected(ids.begin(), ids.end());
    std::sort(expected.begin(), expected.end(), plugin_id_less());
    strings listed = registry.find_plugins("(?s).*");
    fuzz::require(listed.size() == expected.size(), "every id is listed, once");
    for (std::size_t i = 0; i < listed.size(); ++i) {
        fuzz::require(
            !plugin_id_less()(listed[i], expected[i]) && !plugin_id_less()(expected[i], listed[i]),
            "ids are listed in the order of plugin_id_less");
    }
    std::sort(listed.begin(), listed.end());
    fuzz::require(std::equal(listed.begin(), listed.end(), ids.begin()),
                  "what is listed is what was registered");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    strings const texts = fuzz::parts_of(fuzz::text_of(data, size), '\n');
    check_order<kivcore::version_greater>(texts);
    check_order<plugin_id_less>(texts);

    kivcore::plugins registry("");
    check_listing(registry, register_all(registry, texts));
    return 0;
}
