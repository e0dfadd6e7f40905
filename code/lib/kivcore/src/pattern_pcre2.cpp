// pattern.h implemented with PCRE2. A match keeps its state on the heap; only the compiler
// recurses.

#define PCRE2_CODE_UNIT_WIDTH 8  // NOLINT(cppcoreguidelines-macro-usage): pcre2.h needs it

#include <cstdint>
#include <memory>
#include <new>

#include <pcre2.h>

#include "pattern.h"

namespace kivcore {

namespace {

// These limits keep the compiler below 100 KiB of stack and 0.3 s. It follows calls from group to
// group, so the limit is lower for a pattern with calls.
constexpr std::uint32_t k_most_nested = 80;
constexpr std::size_t k_most_bytes = 64 << 10;
constexpr std::size_t k_most_bytes_with_calls = 1 << 10;

// Start optimisations are off. Every match starts at the beginning, so they gain nothing; and in
// PCRE2 10.42 they are wrong for (?=a)(b*)*a, which then does not match "a".
constexpr std::uint32_t k_options = PCRE2_ANCHORED | PCRE2_NO_START_OPTIMIZE;

constexpr std::uint32_t k_heap_kib = 64 << 10;  // for one match

// With at least this many texts, compiling to machine code pays off.
constexpr std::size_t k_texts_for_machine_code = 100;
constexpr std::size_t k_least_machine_stack = 32 << 10;
constexpr std::size_t k_most_machine_stack = 256 << 10;

// How many texts ahead are prefetched into the cache. They are scattered over the heap.
constexpr std::size_t k_texts_ahead = 8;

struct free_code {
    void operator()(pcre2_code* code) const { pcre2_code_free(code); }
};
struct free_compile_context {
    void operator()(pcre2_compile_context* bounds) const { pcre2_compile_context_free(bounds); }
};
struct free_match_context {
    void operator()(pcre2_match_context* bounds) const { pcre2_match_context_free(bounds); }
};
struct free_match_data {
    void operator()(pcre2_match_data* data) const { pcre2_match_data_free(data); }
};
struct free_machine_stack {
    void operator()(pcre2_jit_stack* stack) const { pcre2_jit_stack_free(stack); }
};
using code_handle = std::unique_ptr<pcre2_code, free_code>;
using compile_context_handle = std::unique_ptr<pcre2_compile_context, free_compile_context>;
using match_context_handle = std::unique_ptr<pcre2_match_context, free_match_context>;
using match_data_handle = std::unique_ptr<pcre2_match_data, free_match_data>;
using machine_stack_handle = std::unique_ptr<pcre2_jit_stack, free_machine_stack>;

template <typename handle>
handle checked(handle made) {
    if (!made) {
        throw std::bad_alloc();
    }
    return made;
}

PCRE2_SPTR bytes_of(std::string_view text) {
    return reinterpret_cast<PCRE2_SPTR>(text.data());
}

// Null if the text is not a valid expression; then error is the reason.
code_handle compiled(std::string const& text, std::uint32_t options, pcre2_compile_context* bounds,
                     int& error) {
    PCRE2_SIZE place = 0;
    code_handle code(pcre2_compile(bytes_of(text), text.size(), options, &error, &place, bounds));
    if (!code && error == PCRE2_ERROR_HEAP_FAILED) {
        throw std::bad_alloc();
    }
    return code;
}

// The program that matches whole texts. Null if the pattern does not compile or exceeds a limit.
code_handle program_of(std::string const& pattern, bool with_calls) {
    if (pattern.find('\0') != std::string::npos ||
        pattern.size() > (with_calls ? k_most_bytes_with_calls : k_most_bytes)) {
        return nullptr;
    }
    auto const bounds = checked(compile_context_handle(pcre2_compile_context_create(nullptr)));
    pcre2_set_parens_nest_limit(bounds.get(), k_most_nested + 1);  // + the group around it
    std::string const whole = "(?:" + pattern + ")\\z";
    int error = 0;
    code_handle program = compiled(whole, k_options, bounds.get(), error);
    if (!program && error == PCRE2_ERROR_UNKNOWN_ESCAPE) {
        pcre2_set_compile_extra_options(bounds.get(), PCRE2_EXTRA_BAD_ESCAPE_IS_LITERAL);
        program = compiled(whole, k_options, bounds.get(), error);
    }
    // A ")" in the pattern may have closed the group, so the pattern must also compile alone.
    if (program && pattern.find(')') != std::string::npos &&
        !compiled(pattern, 0, bounds.get(), error)) {
        program.reset();
    }
    return program;
}

std::size_t size_of(pcre2_code const& program) {
    std::size_t code = 0;
    std::size_t frame = 0;
    pcre2_pattern_info(&program, PCRE2_INFO_SIZE, &code);
    pcre2_pattern_info(&program, PCRE2_INFO_FRAMESIZE, &frame);
    return code + frame;
}

// A program together with the buffers for its matches, which are reused from text to text.
class matcher {
  public:
    // texts: the number of texts in the search.
    matcher(pcre2_code& program, std::size_t texts)
        : code(program),
          count(texts),
          bounds(checked(match_context_handle(pcre2_match_context_create(nullptr)))),
          data(checked(match_data_handle(pcre2_match_data_create(1, nullptr)))) {
        pcre2_set_heap_limit(bounds.get(), k_heap_kib);
    }

    // Makes later matches run as machine code on a separate stack, if the system allows that.
    // Results differ only if a match comes near its limit on steps, because machine code counts
    // steps differently.
    void make_machine_code() {
        stack.reset(pcre2_jit_stack_create(k_least_machine_stack, k_most_machine_stack, nullptr));
        if (stack && pcre2_jit_compile(&code, PCRE2_JIT_COMPLETE) == 0) {
            pcre2_jit_stack_assign(bounds.get(), nullptr, stack.get());
            run = pcre2_jit_match;
        }
    }

    bool matches(std::string_view text) {
        pcre2_set_match_limit(bounds.get(), steps_for(text.size(), size_of(code), count));
        int result = run(&code, bytes_of(text), text.size(), 0, 0, data.get(), bounds.get());
        if (result == PCRE2_ERROR_JIT_STACKLIMIT) {
            result = pcre2_match(&code, bytes_of(text), text.size(), 0, PCRE2_NO_JIT, data.get(),
                                 bounds.get());
        }
        if (result == PCRE2_ERROR_NOMEMORY) {
            throw std::bad_alloc();
        }
        return result >= 0;
    }

  private:
    pcre2_code& code;
    std::size_t count;
    match_context_handle bounds;
    match_data_handle data;
    machine_stack_handle stack;
    decltype(&pcre2_match) run = pcre2_match;
};

}  // namespace

std::vector<std::string> matching(std::string const& pattern,
                                  std::vector<std::string_view> const& texts) {
    std::vector<std::string> found;
    bool const with_calls = has_calls_or_verbs(pattern);
    code_handle const program = texts.empty() ? nullptr : program_of(pattern, with_calls);
    if (!program) {
        return found;
    }
    matcher match(*program, texts.size());
    // In PCRE2 10.42, machine code ignores after (*SKIP) that a match must begin at the start,
    // and does not detect infinite calls.
    if (texts.size() >= k_texts_for_machine_code && !with_calls) {
        match.make_machine_code();
    }
    for (std::size_t i = 0; i < texts.size(); ++i) {
        if (i + k_texts_ahead < texts.size()) {
            __builtin_prefetch(texts[i + k_texts_ahead].data());
        }
        if (match.matches(texts[i])) {
            found.emplace_back(texts[i]);
        }
    }
    return found;
}

}  // namespace kivcore
