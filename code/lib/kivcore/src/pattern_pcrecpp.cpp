// pattern.h implemented with the C++ interface of PCRE, the predecessor of PCRE2. Matches and the
// compiler recurse on the stack of the calling thread, so the free part of that stack limits
// both.

#include <pthread.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <new>

#include <pcrecpp.h>

#include "pattern.h"

namespace kivcore {

namespace {

constexpr std::size_t k_level_bytes = 1024;  // more than a match needs for one level
constexpr int k_most_levels = 10000;
constexpr int k_levels_of_unknown_stack = 30;  // these fit on any stack that a host can run on
constexpr int k_most_nested = 250;             // PCRE rejects groups nested deeper

// The addresses of a thread's stack; empty if the platform does not provide them.
struct stack_range {
    std::uintptr_t floor = 0;
    std::uintptr_t top = 0;
};

stack_range stack_of_this_thread() {
    stack_range range;
#ifdef __GLIBC__
    pthread_attr_t attributes;
    if (pthread_getattr_np(pthread_self(), &attributes) != 0) {
        return range;
    }
    void* floor = nullptr;
    std::size_t size = 0;
    if (pthread_attr_getstack(&attributes, &floor, &size) == 0) {
        range.floor = reinterpret_cast<std::uintptr_t>(floor);
        range.top = range.floor + size;
    }
    pthread_attr_destroy(&attributes);
#endif
    return range;
}

// How deep a match may recurse in the free part of this thread's stack, of which a quarter is
// kept in reserve. A coroutine does not run on its thread's stack.
int levels_left() {
    static thread_local stack_range stack;
    if (stack.top == 0) {
        stack = stack_of_this_thread();  // slow
    }
    // Not the address of a local variable: a sanitizer may keep those elsewhere.
    auto const here = reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0));
    if (here < stack.floor || here >= stack.top) {
        return k_levels_of_unknown_stack;
    }
    std::size_t const usable = (here - stack.floor) / 4 * 3;
    return static_cast<int>(
        std::clamp<std::size_t>(usable / k_level_bytes, 1, std::size_t{k_most_levels}));
}

// How deep the compiler may recurse into groups, nested or called from one another.
int depth_of(std::string const& pattern) {
    int groups = 0;
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        if (pattern[i] == '\\') {
            ++i;
        } else if (pattern[i] == '(') {
            ++groups;
        }
    }
    return has_calls_or_verbs(pattern) ? groups : std::min(groups, k_most_nested);
}

// The pattern, compiled once for each power of two in the length of texts, because a compiled
// pattern contains its limit on steps.
class programs {
  public:
    programs(std::string const& expression, int most_levels, std::size_t texts)
        : pattern(expression), levels(most_levels), count(texts) {}

    pcrecpp::RE const& for_text(std::string_view text) {
        std::size_t length = 1;
        while (length <= text.size() / 2) {
            length *= 2;
        }
        auto place = made.find(length);
        if (place == made.end()) {
            pcrecpp::RE_Options bounds;
            bounds.set_match_limit_recursion(levels);
            bounds.set_match_limit(static_cast<int>(steps_for(length, pattern.size(), count)));
            place = made.try_emplace(length, pattern, bounds).first;
            if (place->second.error() == "failed to get memory") {
                throw std::bad_alloc();  // the pattern may be valid
            }
        }
        return place->second;
    }

  private:
    std::string const& pattern;
    int levels;
    std::size_t count;
    std::map<std::size_t, pcrecpp::RE> made;
};

}  // namespace

std::vector<std::string> matching(std::string const& pattern,
                                  std::vector<std::string_view> const& texts) {
    std::vector<std::string> found;
    int const levels = levels_left();
    // Compiling needs less stack for a group than a match needs for a level.
    if (texts.empty() || depth_of(pattern) >= levels) {
        return found;
    }
    programs by_length(pattern, levels, texts.size());
    for (std::string_view const text : texts) {
        if (by_length.for_text(text).FullMatch({text.data(), static_cast<int>(text.size())})) {
            found.emplace_back(text);
        }
    }
    return found;
}

}  // namespace kivcore
