#include "vocabulary.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <map>

#include "kivcore/src/description.h"
#include "markup_text.h"
#include "wording.h"

namespace kivplug {

namespace {

constexpr std::size_t k_longest_word = 32;
constexpr std::size_t k_shortest_stem = 3;
constexpr std::size_t k_longest_ending = 3;  // "monitoring"

// The last parts of keys.
words elements_of(std::initializer_list<char const*> keys) {
    words names;
    for (std::string const key : keys) {
        names.push_back(key.substr(key.rfind('.') + 1));
    }
    return names;
}

words joined(words first, words const& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

std::string lower(std::string_view text) {
    std::string made(text);
    std::transform(made.begin(), made.end(), made.begin(), [](unsigned char each) {
        return each == '_' ? '-' : static_cast<char>(std::tolower(each));
    });
    return made;
}

// 0 for the same word, more for a less likely one, npos for none.
std::size_t unlikeness(std::string_view written, std::string_view known) {
    std::size_t const shorter = std::min(written.size(), known.size());
    std::size_t const longer = std::max(written.size(), known.size());
    bool const is_form = shorter >= k_shortest_stem &&
                         written.substr(0, shorter) == known.substr(0, shorter) &&
                         (written.size() < known.size() || longer - shorter <= k_longest_ending);
    std::size_t const count = distance_between(written, known);
    std::size_t const allowed = std::max<std::size_t>(known.size() / 3, 1);
    bool const is_swap = written.size() == known.size() &&
                         std::is_permutation(written.begin(), written.end(), known.begin());
    bool const is_slip = count <= allowed && (longer > 2 || count == 0 || is_swap);
    return is_slip ? count : is_form ? allowed + 1 : std::string_view::npos;
}

}  // namespace

words const& elements_inside(std::string_view element) {
    using namespace kivcore;
    static std::map<std::string, words, std::less<>> const inside = {
        {"", {k_plugin_element}},
        {k_plugin_element,
         joined({k_interface_element, k_info_element}, elements_of(k_skipped_elements))},
        {k_interface_element, joined(elements_of(k_interface_facts), {k_bind_element})},
        {k_info_element, joined(elements_of(k_info_facts), {k_developer_element})},
        {k_developer_element, elements_of(k_developer_facts)},
    };
    static words const none;
    auto const found = inside.find(element);
    return found != inside.end() ? found->second : none;
}

words const& all_elements() {
    static words const all = [] {
        words made;
        for (char const* outer : {"", kivcore::k_plugin_element, kivcore::k_interface_element,
                                  kivcore::k_info_element, kivcore::k_developer_element}) {
            made = joined(made, elements_inside(outer));
        }
        return made;
    }();
    return all;
}

served_functions functions_for(std::string const& flavor, std::string const& category,
                               std::string const& type) {
    using namespace kivcore;
    if (flavor == k_native) {
        return {{k_create}, {}};
    }
    if (flavor != k_c_style || category != k_io || !contains(c_types(), type)) {
        return {};
    }
    words const positioning = {k_seek, k_get_pos, k_set_pos};
    return type == k_read
               ? served_functions{{k_open, k_close, k_read, k_size}, positioning}
               : served_functions{{k_open, k_close, k_write, k_flush, k_size}, positioning};
}

words const& all_functions() {
    static words const all = [] {
        auto made = functions_for(kivcore::k_native, "", "").needed;
        for (auto const& type : c_types()) {
            auto const served = functions_for(kivcore::k_c_style, kivcore::k_io, type);
            made = joined(joined(made, served.needed), served.positioning);
        }
        return made;
    }();
    return all;
}

words const& all_flavors() {
    static words const all = {kivcore::k_native, kivcore::k_c_style};
    return all;
}

words const& c_types() {
    static words const all = {kivcore::k_read, kivcore::k_write};
    return all;
}

words const& all_types() {
    static words const all =
        joined(c_types(), {kivcore::k_native_types.begin(), kivcore::k_native_types.end()});
    return all;
}

bool contains(words const& known, std::string_view word) {
    return std::find(known.begin(), known.end(), word) != known.end();
}

std::string meant_word(std::string_view written, words const& known) {
    if (contains(known, written)) {
        return std::string(written);
    }
    std::string const bare = lower(trimmed(written));
    if (bare.size() > k_longest_word) {
        return {};
    }
    std::string best;
    std::size_t least = std::string_view::npos;
    for (auto const& each : known) {
        std::size_t const unlike = unlikeness(bare, lower(each));
        if (unlike < least) {
            least = unlike;
            best = each;
        }
    }
    return best;
}

}  // namespace kivplug
