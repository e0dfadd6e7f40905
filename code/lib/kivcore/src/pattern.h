// A regular expression that is matched against whole texts. The one place that
// knows the regular expression library.

#ifndef KIVCORE_PATTERN_H
#define KIVCORE_PATTERN_H

#include <memory>
#include <string>

namespace kivcore {

class pattern {
  public:
    // Compiles the expression; one that cannot be compiled matches nothing. Raises
    // std::bad_alloc when memory runs out. Matching
    // is bounded by the stack that the calling thread has left, so match on the
    // thread that made the pattern.
    explicit pattern(std::string const& expression);
    ~pattern();

    pattern(pattern const&) = delete;
    pattern& operator=(pattern const&) = delete;

    // Whether the expression matches the text from its first to its last byte. False
    // for a text on which the bound is hit.
    bool matches(std::string const& whole) const;

    // The plain characters with which every text that matches begins; may be empty.
    std::string literal_start() const;

  private:
    struct compiled;
    std::string text;
    std::unique_ptr<compiled> program;  // null when the stack has no room to compile it
};

}  // namespace kivcore

#endif
