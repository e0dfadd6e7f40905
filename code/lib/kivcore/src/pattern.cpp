#include "pattern.h"

#include <pthread.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>

#include <pcrecpp.h>

namespace kivcore {

namespace {

constexpr std::size_t k_level_bytes = 1024;  // more than one level of a match takes
constexpr int k_most_levels = 10000;
constexpr int k_levels_of_unknown_stack = 300;

// A match ends unsuccessfully after so many steps. A step may look at all of the text, so
// the bound is lower for long ones: it is the product of the two that takes time.
constexpr std::size_t k_long_text_bytes = 1024;
constexpr int k_steps = 0;  // the regular expression library's own bound, ten million
constexpr int k_steps_in_long_text = 100000;

// The addresses of a thread's stack; empty when the platform cannot tell.
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

// How deep a match may recurse on what is left of this thread's stack, a quarter of
// which is kept free. Code that runs on a stack of its own making is not on the thread's.
int levels_left() {
    static thread_local stack_range stack;
    if (stack.top == 0) {
        stack = stack_of_this_thread();  // slow to find out
    }
    char const local = 0;
    auto const here = reinterpret_cast<std::uintptr_t>(&local);
    if (here < stack.floor || here >= stack.top) {
        return k_levels_of_unknown_stack;
    }
    std::size_t const usable = (here - stack.floor) / 4 * 3;
    return static_cast<int>(std::min<std::size_t>(usable / k_level_bytes, k_most_levels));
}

pcrecpp::RE_Options bounded(int levels, int steps) {
    pcrecpp::RE_Options options;
    options.set_match_limit_recursion(levels);
    options.set_match_limit(steps);
    return options;
}

// Characters that mean themselves, whatever stands around them.
bool is_plain(char c) {
    return c != '\0' && std::strchr("\\^$.[]|(){}?*+", c) == nullptr;
}

}  // namespace

struct pattern::compiled {
    compiled(std::string const& text, int levels, int steps)
        : expression(text, bounded(levels, steps)) {
        if (expression.error() == "failed to get memory") {
            throw std::bad_alloc();  // the pattern may be a good one
        }
    }
    pcrecpp::RE expression;
};

pattern::pattern(std::string const& expression)
    : text(expression), levels(std::max(levels_left(), 1)) {
    // Compiling recurses as well, by less than a level for each group within a group.
    if (std::count(text.begin(), text.end(), '(') < levels) {
        program = std::make_unique<compiled>(text, levels, k_steps);
    }
}

pattern::~pattern() = default;

bool pattern::matches(std::string_view whole) {
    pcrecpp::StringPiece const subject(whole.data(), static_cast<int>(whole.size()));
    if (!program) {
        return false;
    }
    if (whole.size() <= k_long_text_bytes) {
        return program->expression.FullMatch(subject);
    }
    if (!program_for_long) {
        program_for_long = std::make_unique<compiled>(text, levels, k_steps_in_long_text);
    }
    return program_for_long->expression.FullMatch(subject);
}

std::string pattern::literal_start() const {
    if (text.find('|') != std::string::npos) {
        return {};  // an alternative may begin with something else
    }
    auto const end = std::find_if_not(text.begin(), text.end(), is_plain);
    std::string start(text.begin(), end);
    if (!start.empty() && end != text.end()) {
        // A quantifier may follow, also behind a comment: the last may be there no times.
        start.pop_back();
    }
    return start;
}

}  // namespace kivcore
