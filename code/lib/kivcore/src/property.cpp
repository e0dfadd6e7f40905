#include "kivcore/property.h"

#include <algorithm>
#include <functional>

#include <morbase/text.h>

namespace kivcore {

namespace {

// The numbers are part of the interface: hosts may store them.
enum e_kind : int {
    k_string = 1,
    k_binary = 2,
    k_int = 3,
    k_real = 4,
    k_list = 5,
    k_map = 6,
};

// Casts other to the class with this kind; null if it is not of that class. Checks the kind first
// because that is cheap, and then the type, because a foreign class may return any kind.
template <typename value>
value const* of_kind(e_kind kind, property const& other) {
    return other.kind() == kind ? dynamic_cast<value const*>(&other) : nullptr;
}

std::string text_of(property const& value) {
    std::string text;
    value.describe(text);
    return text;
}

// Removes the ", " after the last element.
void drop_last_separator(std::string& out) {
    out.resize(out.size() - 2);
}

}  // namespace

property::~property() = default;

// Not static: part of the interface.
// NOLINTNEXTLINE(readability-convert-member-functions-to-static)
bool property::satisfies(constraint const& /*c*/) const {
    return false;
}

property_string::property_string(std::string const& value) : held(value) {}

int property_string::kind() const {
    return k_string;
}

void property_string::describe(std::string& out) const {
    out += morbase::string_with_format("\"%s\"", held.c_str());
}

bool property_string::operator==(property const& other) const {
    auto const* same = of_kind<property_string>(k_string, other);
    return same != nullptr && held == same->held;
}

bool property_string::operator<(property const& other) const {
    auto const* same = of_kind<property_string>(k_string, other);
    return same != nullptr && held < same->held;
}

bool operator>=(property_string const& a, property_string const& b) {
    return a.value() >= b.value();
}

property_binary::property_binary(morbase::buffer const& value) : held(value) {}
property_binary::property_binary(property_binary const& other) = default;

// Uses assign, which keeps the old bytes if memory runs out.
property_binary& property_binary::operator=(property_binary const& other) {
    held.assign(other.held.data(), other.held.size());
    return *this;
}

int property_binary::kind() const {
    return k_binary;
}

void property_binary::describe(std::string& out) const {
    out += morbase::string_encode_base64(held.data(), held.size());
}

bool property_binary::operator==(property const& other) const {
    auto const* same = of_kind<property_binary>(k_binary, other);
    return same != nullptr && held == same->held;
}

bool property_binary::operator<(property const& other) const {
    auto const* same = of_kind<property_binary>(k_binary, other);
    return same != nullptr && held < same->held;
}

property_int::property_int(long long value) : held(value) {}

int property_int::kind() const {
    return k_int;
}

void property_int::describe(std::string& out) const {
    out += morbase::string_with_format("%lld", held);
}

bool property_int::operator==(property const& other) const {
    auto const* same = of_kind<property_int>(k_int, other);
    return same != nullptr && held == same->held;
}

bool property_int::operator<(property const& other) const {
    auto const* same = of_kind<property_int>(k_int, other);
    return same != nullptr && held < same->held;
}

property_real::property_real(double value) : held(value) {}

int property_real::kind() const {
    return k_real;
}

void property_real::describe(std::string& out) const {
    out += morbase::string_with_format("%f", held);
}

bool property_real::operator==(property const& other) const {
    auto const* same = of_kind<property_real>(k_real, other);
    return same != nullptr && held == same->held;
}

bool property_real::operator<(property const& other) const {
    auto const* same = of_kind<property_real>(k_real, other);
    return same != nullptr && held < same->held;
}

property_list::property_list(std::list<property*> const& value) : held(value) {}

int property_list::kind() const {
    return k_list;
}

void property_list::describe(std::string& out) const {
    out += '[';
    for (property const* element : held) {
        out += morbase::string_with_format("%s, ", text_of(*element).c_str());
    }
    if (!held.empty()) {
        drop_last_separator(out);
    }
    out += ']';
}

bool property_list::operator==(property const& other) const {
    auto const* same = of_kind<property_list>(k_list, other);
    return same != nullptr && held == same->held;
}

bool property_list::operator<(property const& other) const {
    auto const* same = of_kind<property_list>(k_list, other);
    return same != nullptr &&
           std::lexicographical_compare(held.begin(), held.end(), same->held.begin(),
                                        same->held.end(), std::less<>());
}

property_map::property_map(std::map<std::string, property*> const& value) : held(value) {}

int property_map::kind() const {
    return k_map;
}

void property_map::describe(std::string& out) const {
    out += '{';
    for (auto const& [key, value] : held) {
        out += morbase::string_with_format("\"%s\": %s, ", key.c_str(), text_of(*value).c_str());
    }
    if (!held.empty()) {
        drop_last_separator(out);
    }
    out += '}';
}

bool property_map::operator==(property const& other) const {
    auto const* same = of_kind<property_map>(k_map, other);
    return same != nullptr && held == same->held;
}

bool property_map::operator<(property const& other) const {
    auto const* same = of_kind<property_map>(k_map, other);
    // std::less orders pointers to unrelated objects; < need not.
    auto const entry_less = [](auto const& a, auto const& b) {
        return a.first != b.first ? a.first < b.first : std::less<>()(a.second, b.second);
    };
    return same != nullptr &&
           std::lexicographical_compare(held.begin(), held.end(), same->held.begin(),
                                        same->held.end(), entry_less);
}

}  // namespace kivcore
