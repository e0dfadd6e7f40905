#include "values.h"

#include <algorithm>
#include <charconv>
#include <set>

#include "kivcore/src/description.h"
#include "markup_text.h"
#include "text.h"
#include "vocabulary.h"

namespace kivplug {

namespace {

constexpr std::size_t k_most_numbers = 4;
constexpr unsigned int k_largest_number = 255;

// No-break space, soft hyphen, zero width space and joiners, marks of direction, narrow no-break
// space, word joiner, ideographic space, byte order mark.
constexpr char const* k_invisible[] = {
    "\u00a0", "\u00ad", "\u200b", "\u200c", "\u200d", "\u200e",
    "\u200f", "\u202f", "\u2060", "\u3000", "\ufeff",
};

// The element's name: the last part of its key.
std::string element_of(std::string const& key) {
    return key.substr(key.rfind('.') + 1);
}

void trim(fact& text, std::string const& what, bool is_free, reporter& to) {
    std::string const bare = trimmed(text.value);
    if (bare == text.value || !text.is_sound) {
        return;
    }
    to.add(
        is_free ? 138 : 136, text.place,
        "there is white space around " + named(bare) + " in " + what + ", and the library keeps it",
        "write the text right between the tags");
    text.value = bare;
}

// Descriptions and copyrights may be of several lines.
void trim_all(intended_plugin& plugin, reporter& to) {
    for (auto& [key, text] : plugin.facts) {
        if (key == kivcore::k_description || key == kivcore::k_copyright) {
            continue;
        }
        bool const is_free = key == kivcore::k_name || key == kivcore::k_developer_name ||
                             key == kivcore::k_interface_version;
        trim(text, named(element_of(key)), is_free, to);
    }
    for (auto& [function, binding] : plugin.bindings) {
        trim(binding.symbol, "the binding of " + named(function), false, to);
    }
}

words missing_of(intended_plugin const& plugin, std::initializer_list<char const*> keys) {
    words missing;
    for (std::string const key : keys) {
        if (plugin.facts.count(key) == 0) {
            missing.push_back(element_of(key));
        }
    }
    return missing;
}

void report_missing_of_section(int rule, intended_plugin const& plugin, std::size_t section,
                               char const* name, std::initializer_list<char const*> keys,
                               char const* effect, reporter& to) {
    auto const missing = missing_of(plugin, keys);
    if (missing.empty()) {
        return;
    }
    auto const& elements = to.places().elements();
    bool const is_there = section != k_nowhere;
    to.add(rule, elements[is_there ? section : plugin.element].start,
           is_there ? named(name) + " lacks " + all_named(missing) + ": " + effect
                    : "the plug-in has no element " + named(name) + ": " + effect,
           is_there ? "add " + all_named(missing)
                    : "add " + named(name) + " with " + all_named(missing));
}

void report_missing(intended_plugin const& plugin, reporter& to) {
    using namespace kivcore;
    report_missing_of_section(131, plugin, plugin.interface, k_interface_element,
                              {k_category, k_type, k_keys, k_flavor},
                              "no host finds such a plug-in, or it makes no objects", to);
    // A developer without an id is reported as a whole.
    bool const has_developer = plugin.facts.count(k_developer_id) != 0;
    auto const missing = missing_of(plugin, {k_version});
    if (!missing.empty() || !has_developer) {
        words all = missing;
        if (!has_developer) {
            all.emplace_back(k_developer_element);
        }
        auto const& elements = to.places().elements();
        bool const is_there = plugin.info != k_nowhere;
        to.add(132, elements[is_there ? plugin.info : plugin.element].start,
               is_there ? "\"info\" lacks " + all_named(all) + ", and the id has an empty field"
                        : "the plug-in has no element \"info\", and the id has empty fields",
               "add " + std::string(is_there ? "" : "\"info\" with ") + all_named(all));
    }
    if (plugin.info != k_nowhere && plugin.facts.count(k_name) == 0) {
        to.add(133, to.places().elements()[plugin.info].start,
               R"("info" lacks "name", which is shown to people)", "add \"name\"");
    }
}

// Whether a character is in the text that looks like nothing or like a blank.
bool has_invisible(std::string const& text) {
    return std::any_of(std::begin(k_invisible), std::end(k_invisible),
                       [&](char const* each) { return text.find(each) != std::string::npos; });
}

// As CMake, the autotools and others have them: "@NAME@" and "${NAME}".
bool has_placeholder(std::string const& text) {
    auto const end = text.find('@', text.find('@') + 1);
    return text.find("${") != std::string::npos ||
           (text.find('@') != std::string::npos && end != std::string::npos);
}

// What in a field of an id makes it hard to find; empty for nothing.
std::string oddness(std::string const& field) {
    if (field.find('/') != std::string::npos) {
        return "a \"/\", which separates the fields of an id";
    }
    if (field.find('|') != std::string::npos) {
        return "a \"|\", which separates keys, in another field";
    }
    if (field.find_first_of(k_white_space) != std::string::npos) {
        return "white space";
    }
    if (has_invisible(field)) {
        return "a character that cannot be seen";
    }
    if (has_placeholder(field)) {
        return "a placeholder that the build did not replace";
    }
    return printable(field) != field ? "a control character" : "";
}

void check_fields(intended_plugin& plugin, reporter& to) {
    using namespace kivcore;
    for (char const* key : {k_category, k_type, k_developer_id}) {
        auto const found = plugin.facts.find(key);
        if (found == plugin.facts.end() || !found->second.is_sound) {
            continue;
        }
        auto& text = found->second;
        if (std::string const odd = oddness(text.value); !odd.empty()) {
            to.add(160, text.place,
                   named(text.value) + " in " + named(element_of(key)) + " has " + odd,
                   "write a single word there");
            text.is_sound = false;
        }
    }
}

void check_keys(intended_plugin const& plugin, reporter& to) {
    auto const found = plugin.facts.find(kivcore::k_keys);
    if (found == plugin.facts.end() || !found->second.is_sound) {
        return;
    }
    std::set<std::string> before;
    std::string const& keys = found->second.value;
    for (std::size_t start = 0; start <= keys.size();) {
        std::size_t const end = std::min(keys.find('|', start), keys.size());
        std::string const key = keys.substr(start, end - start);
        start = end + 1;
        if (key.empty()) {
            to.add(161, found->second.place, "one of the keys in " + named(keys) + " is empty",
                   "write \"|\" only between two keys");
            return;
        }
        if (std::string const odd = oddness(key); !odd.empty()) {
            to.add(160, found->second.place, "the key " + named(key) + " has " + odd,
                   "write each key as a single word");
            return;
        }
        if (auto const comma = key.find_first_of(",;"); comma != std::string::npos) {
            to.add(160, found->second.place,
                   "the key " + named(key) + " has a " + named(key.substr(comma, 1)) +
                       ", which does not separate keys",
                   "write \"|\" between keys");
            return;
        }
        if (!before.insert(key).second) {
            to.add(162, found->second.place,
                   "the key " + named(key) +
                       " is there twice; the library does not register those after it",
                   "remove the second one");
            return;
        }
    }
}

bool is_version_number(std::string const& text) {
    unsigned int number = 0;
    auto const* const end = text.data() + text.size();
    auto const read = std::from_chars(text.data(), end, number);
    return read.ec == std::errc() && read.ptr == end && number <= k_largest_number;
}

void check_version(intended_plugin const& plugin, reporter& to) {
    auto const found = plugin.facts.find(kivcore::k_version);
    if (found == plugin.facts.end() || !found->second.is_sound) {
        return;
    }
    std::string const& version = found->second.value;
    auto numbers = split(version, '.');
    if (version.empty() || version.back() == '.') {
        numbers.emplace_back();
    }
    if (numbers.size() > k_most_numbers ||
        !std::all_of(numbers.begin(), numbers.end(), is_version_number)) {
        to.add(163, found->second.place,
               "the version " + named(version) +
                   " is not up to four numbers from 0 to 255 with dots between them; hosts then "
                   "take a wrong one for the newest",
               "write a version such as \"1.0\"");
    }
}

}  // namespace

void check_values(intended_plugin& plugin, reporter& to) {
    trim_all(plugin, to);
    report_missing(plugin, to);
    check_fields(plugin, to);
    check_keys(plugin, to);
    check_version(plugin, to);
}

}  // namespace kivplug
