#include "pattern.h"

#include <pcrecpp.h>
#include <pthread.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace kivcore {

namespace {

constexpr std::size_t k_level_bytes = 1024;  // more than one level of a match takes
constexpr int k_most_levels = 10000;
constexpr int k_levels_of_unknown_stack = 300;

// The lowest address of the calling thread's stack; null when the platform cannot tell.
void const* stack_floor() {
#ifdef __GLIBC__
    pthread_attr_t attributes;
    if (pthread_getattr_np(pthread_self(), &attributes) != 0) {
        return nullptr;
    }
    void* floor = nullptr;
    std::size_t size = 0;
    int const failed = pthread_attr_getstack(&attributes, &floor, &size);
    pthread_attr_destroy(&attributes);
    return failed == 0 ? floor : nullptr;
#else
    return nullptr;
#endif
}

// How deep a match may recurse on what is left of this thread's stack, a quarter of
// which is kept free.
int levels_left() {
    char const here = 0;
    auto const top = reinterpret_cast<std::uintptr_t>(&here);
    auto const floor = reinterpret_cast<std::uintptr_t>(stack_floor());
    if (floor == 0 || floor >= top) {
        return k_levels_of_unknown_stack;
    }
    std::size_t const usable = (top - floor) / 4 * 3;
    return static_cast<int>(std::min<std::size_t>(usable / k_level_bytes, k_most_levels));
}

pcrecpp::RE_Options bounded() {
    pcrecpp::RE_Options options;
    options.set_match_limit_recursion(std::max(levels_left(), 1));
    return options;
}

}  // namespace

struct pattern::compiled {
    explicit compiled(std::string const& text) : expression(text, bounded()) {}
    pcrecpp::RE expression;
};

pattern::pattern(std::string const& text) : expression(std::make_unique<compiled>(text)) {}

pattern::~pattern() = default;

bool pattern::matches(std::string const& text) const {
    return expression->expression.FullMatch(text);
}

}  // namespace kivcore
