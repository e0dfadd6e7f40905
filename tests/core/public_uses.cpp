// What hosts do with the public headers, compiled in each standard that they may use. C++20
// rewrites comparisons: an expression that one standard accepts may be ambiguous in the next.

#include <type_traits>

#include <kivcore/kivcore.h>
#include <kivsys/readxml_base.h>
#include <kivsys/severity.h>

namespace {

using kivcore::property;
using kivcore::property_int;
using kivcore::property_real;
using kivcore::property_string;

// Assignment through the base class would not assign the value of the derived class.
static_assert(!std::is_copy_assignable_v<property> && std::is_copy_assignable_v<property_int>);
static_assert(!std::is_copy_assignable_v<kivcore::plugins::info> &&
              std::is_copy_assignable_v<kivcore::__info>);

[[maybe_unused]] bool compare(property const& any, property const& other, property_int const& one,
                              property_real const& real, property_string const& text,
                              property_string const& name) {
    return any == other || any == one || one == any || one == real || real == one || text == one ||
           text == name || !(text == name) || one < real || any < one || text >= name;
}

template <typename A, typename B>
bool compare_both_ways(A const& a, B const& b) {
    return a == b || b == a || a != b || b != a || a < b || b < a;
}

[[maybe_unused]] bool compare_pointers(morbase::ptr_refcount<kivcore::plugin> const& held,
                                       morbase::ptr_refcount<kivcore::plugin const> const& constant,
                                       morbase::ptr_refcount<kivcore::reader> const& derived,
                                       kivcore::plugin* plain, kivcore::reader const* reader) {
    return compare_both_ways(held, held) || compare_both_ways(held, constant) ||
           compare_both_ways(held, derived) || compare_both_ways(held, plain) ||
           compare_both_ways(held, reader) || compare_both_ways(constant, plain) ||
           held == nullptr || nullptr != held;
}

[[maybe_unused]] bool is_named(kivcore::plugins::info const& description) {
    return value_of(description, "info.name") == value_of(description, "info.name", "none");
}

[[maybe_unused]] bool compare_buffers(morbase::buffer const& a, morbase::buffer const& b) {
    return a == b || !(a == b) || a < b;
}

}  // namespace
