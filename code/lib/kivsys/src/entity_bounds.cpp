#include "entity_bounds.h"

#include <algorithm>
#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include <morbase/es.h>
#include <morbase/text.h>

namespace kivsys::xml {

namespace {

// What morbase::es::base::file() returns for errors raised here.
constexpr char const* k_source = "code/lib/kivsys/src/entity_bounds";
constexpr char const* k_blanks = " \t\r\n";
constexpr char const* k_ends_of_name = " \t\r\n;%&<>\"'";

constexpr std::size_t k_most_expanded = 4U << 20U;
constexpr std::size_t k_bytes_of_reference = 32;     // at least
constexpr std::size_t k_most_declared = 40U << 10U;  // above the limit for a document type
constexpr int k_most_levels = 40;                    // of nested entities, as in the XML library

// Parameter entities can contain declarations, so the other entities are not known until these
// are expanded. With so few references, the result stays small.
constexpr std::size_t k_most_parameter_references = 4;
constexpr std::size_t k_most_references_beside = 8;

[[noreturn]] void refuse(std::string const& message) {
    morbase::es::arg::raise(k_source, __LINE__, message.c_str());
}

// The text from start on; empty if start is after its end.
std::string_view from(std::string_view text, std::size_t start) {
    return text.substr(std::min(start, text.size()));
}

std::string_view without_blanks(std::string_view text) {
    return from(text, text.find_first_not_of(k_blanks));
}

// Calls `visit` with the name in each "&name;", or with another mark, and the mark's position.
template <typename visitor>
void for_each_reference(std::string_view text, char mark, visitor const& visit) {
    std::size_t at = text.find(mark);
    while (at != std::string_view::npos) {
        std::size_t const end = text.find_first_of(k_ends_of_name, at + 1);
        if (end != std::string_view::npos && text[end] == ';' && end > at + 1) {
            visit(text.substr(at + 1, end - at - 1), at);
        }
        at = text.find(mark, at + 1);
    }
}

// Whether the name of a reference is the number of this character, in decimal or hexadecimal.
bool is_number(std::string_view name, std::string_view decimal, std::string_view hexadecimal) {
    bool const is_hexadecimal = name.substr(0, 2) == "#x";
    if (name.substr(0, 1) != "#") {
        return false;
    }
    std::string_view const digits = from(name, is_hexadecimal ? 2 : 1);
    return from(digits, digits.find_first_not_of('0')) == (is_hexadecimal ? hexadecimal : decimal);
}

// The general entities that a text declares, anywhere in it, and the number of bytes to which a
// reference to each expands.
class entities {
  public:
    explicit entities(std::string_view text) {
        constexpr std::string_view declaration = "<!ENTITY";
        for (std::size_t at = text.find(declaration); at != std::string_view::npos;
             at = text.find(declaration, at + 1)) {
            declare(from(text, at + declaration.size()));
        }
        // Each pass includes one more level of nesting. A recursive entity keeps growing.
        for (int level = 0; level < k_most_levels; ++level) {
            expand();
        }
    }

    bool any_parameter() const { return with_parameters; }

    // Capped just above the limit.
    std::size_t length(std::string_view name) const {
        auto const place = by_name.find(name);
        return place != by_name.end() ? place->second.length : 0;
    }

  private:
    struct entity {
        std::vector<std::string_view> values{};  // only one counts; the others may be in comments
        std::size_t length = 0;
    };

    void declare(std::string_view text) {
        text = without_blanks(text);
        with_parameters = with_parameters || text.substr(0, 1) == "%";
        std::string_view const name = text.substr(0, text.find_first_of(k_ends_of_name));
        text = without_blanks(from(text, name.size()));
        bool const has_value = text.substr(0, 1) == "\"" || text.substr(0, 1) == "'";
        std::size_t const end = has_value ? text.find(text[0], 1) : std::string_view::npos;
        if (end == std::string_view::npos) {
            return;
        }
        declared += name.size() + end;
        if (declared > k_most_declared) {
            refuse(morbase::string_with_format("the entity declarations take more than %zu bytes",
                                               k_most_declared));
        }
        by_name[name].values.push_back(text.substr(1, end - 1));
    }

    void expand() {
        for (auto& named : by_name) {
            entity& each = named.second;
            for (std::string_view const value : each.values) {
                each.length = std::max(each.length, length_of_value(value));
            }
        }
    }

    std::size_t length_of_value(std::string_view value) const {
        std::size_t total = std::max(value.size(), k_bytes_of_reference);
        for_each_reference(value, '&', [&](std::string_view name, std::size_t at) {
            if (is_number(name, "38", "26") &&
                from(value, at + name.size() + 2).substr(0, 1) != "#") {
                refuse(R"(an entity writes a reference with "&#38;": use "&")");
            }
            total = std::min(total + length(name), k_most_expanded + 1);
        });
        return total;
    }

    std::map<std::string_view, entity> by_name;
    std::size_t declared = 0;  // bytes of names and values
    bool with_parameters = false;
};

bool is_predefined(std::string_view name) {
    return name == "lt" || name == "gt" || name == "amp" || name == "quot" || name == "apos";
}

void bound_references_beside_parameters(std::string_view text) {
    std::size_t parameters = 0;
    std::size_t others = 0;
    for_each_reference(text, '%', [&](auto /*name*/, auto /*at*/) { ++parameters; });
    for_each_reference(text, '&', [&](std::string_view name, std::size_t /*at*/) {
        if (is_number(name, "37", "25") || is_number(name, "38", "26")) {
            ++parameters;
        } else if (name[0] != '#' && !is_predefined(name)) {
            ++others;
        }
    });
    if (parameters > k_most_parameter_references || others > k_most_references_beside) {
        refuse(morbase::string_with_format(
            "a document with parameter entities may have %zu references to them and %zu to other "
            "entities: this one has more",
            k_most_parameter_references, k_most_references_beside));
    }
}

}  // namespace

void bound_entities(std::string_view text) {
    if (text.find("<!DOCTYPE") == std::string_view::npos) {
        return;
    }
    entities declared(text);
    if (declared.any_parameter()) {
        bound_references_beside_parameters(text);
    }
    std::size_t total = 0;
    for_each_reference(text, '&', [&](std::string_view name, std::size_t /*at*/) {
        total += declared.length(name);
        if (total > k_most_expanded) {
            refuse(morbase::string_with_format(
                "the references to entities expand to more than %zu bytes", k_most_expanded));
        }
    });
}

}  // namespace kivsys::xml
