// A pattern of file names that differ in a number: "shot.####.dpx", "shot.%04d.dpx". "%%" and
// "%#" stand for "%" and "#". Number and name determine each other: a number is padded with zeros
// to the width of its field, and has no further leading zeros.

#ifndef SEQUENCE_NAME_PATTERN_H
#define SEQUENCE_NAME_PATTERN_H

#include <cstddef>
#include <string>

namespace sequence {

class name_pattern {
  public:
    // The most digits of a field and of a number, so that every number fits a long long.
    static constexpr std::size_t k_max_digits = 18;

    // Parses a pattern. Returns an empty string on success, otherwise what is wrong, worded to
    // follow the pattern in a sentence.
    std::string parse(std::string const& text);

    std::string name_of(long long number) const;

    // The number in a name; -1 if the name does not match the pattern.
    long long number_in(std::string const& name) const;

  private:
    std::size_t parse_field(std::string const& text, std::size_t at, std::string& problem);

    std::string before;
    std::string after;
    std::size_t width = 0;  // 0 until the field is parsed
};

}  // namespace sequence

#endif
