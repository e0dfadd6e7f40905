// A pattern of file names that differ in a number: "shot.####.dpx", "shot.%04d.dpx". "%%" and "%#"
// mean the signs themselves. Number and name determine each other: a number is padded with zeros to
// the width of its field and has no further zeros in front.

#ifndef SEQUENCE_NAME_PATTERN_H
#define SEQUENCE_NAME_PATTERN_H

#include <cstddef>
#include <string>

namespace sequence {

class name_pattern {
  public:
    // Digits at most, of a field and of a number: every number fits a long long.
    static constexpr std::size_t k_max_digits = 18;

    // Reads a pattern. Empty for success, else what is wrong with it, worded to follow
    // the pattern in a sentence.
    std::string parse(std::string const& text);

    std::string name_of(long long number) const;

    // The number in a name; -1 when the pattern does not describe the name.
    long long number_in(std::string const& name) const;

  private:
    std::size_t parse_field(std::string const& text, std::size_t at, std::string& problem);

    std::string before;
    std::string after;
    std::size_t width = 0;  // 0 until the field was met
};

}  // namespace sequence

#endif
