// A regular expression that is matched against whole texts. The one place that
// knows the regular expression library.

#ifndef KIVCORE_PATTERN_H
#define KIVCORE_PATTERN_H

#include <memory>
#include <string>
#include <string_view>

namespace kivcore {

class pattern {
  public:
    // Compiles the expression; one that cannot be compiled matches nothing. Raises
    // std::bad_alloc when memory runs out. Matching is bounded by the stack that the
    // calling thread has left, so match on the thread that made the pattern.
    explicit pattern(std::string const& expression);
    ~pattern();

    pattern(pattern const&) = delete;
    pattern& operator=(pattern const&) = delete;

    // Whether the expression matches the text from its first to its last byte. False for a
    // text on which a bound is hit: that on the stack, or that on the number of steps, which
    // is lower for long texts. Raises std::bad_alloc when memory runs out.
    bool matches(std::string_view whole);

    // The plain characters with which every text that matches begins; may be empty.
    std::string literal_start() const;

  private:
    struct compiled;
    std::string text;
    int levels;                                  // how deep a match may recurse
    std::unique_ptr<compiled> program;           // null when the stack has no room to compile it
    std::unique_ptr<compiled> program_for_long;  // made for the first long text
};

}  // namespace kivcore

#endif
