#include "pattern_seats.h"

#include <algorithm>

namespace support {

namespace {

bool holds_one_of(std::string const& text, std::vector<std::string> const& parts) {
    return std::any_of(parts.begin(), parts.end(), [&](std::string const& part) {
        return text.find(part) != std::string::npos;
    });
}

}  // namespace

std::vector<difference> const& known_differences() {
    static std::vector<std::string> const repeated{")*", ")+", ")?", "){"};
    static std::vector<difference> const all{
        {"PCRE never backtracks into a group that was called, and refuses calls that may not end",
         {"(?R", "(?0", "(?1", "(?2", "(?3", "(?4", "(?5", "(?6", "(?7", "(?8", "(?9", "(?&",
          "(?P>", "(?+", "(?-", "\\g"},
         {},
         "(a|ab)(?1)c",
         "aabc",
         true},
        {"a group that is referred to while it is being matched or repeated",
         {"\\1", "\\2", "\\3", "\\4", "\\5", "\\6", "\\7", "\\k", "(?P=", "(?("},
         {},
         "(a\\1?){3}",
         "aaa",
         true},
        {"a digit in PCRE if there is no such group, an error in PCRE2",
         {"\\8", "\\9"},
         {},
         "\\8",
         "8",
         false},
        {"verbs that are repeated, or have a name that only PCRE2 knows",
         {"(*", "(?*"},
         {},
         "(*ACCEPT)+",
         "",
         true},
        {"options that only PCRE2 knows", {"(?n", "(?xx", "(?^"}, {}, "(?n)a", "a", true},
        {"PCRE2 refuses \\K within a lookaround",
         {"\\K"},
         {"(?=", "(?!", "(?<"},
         "(?=a\\K)a",
         "a",
         false},
        {"a comment that is repeated", {"(?#"}, {}, "a*(?#)+", "a", true},
        {"lookarounds that are repeated",
         {"(?=", "(?!", "(?<"},
         repeated,
         "(?<=(?<!a)+)",
         "",
         false},
        {"the length of what a lookbehind matches",
         {"(?<"},
         {"\\R", "\\X"},
         "a(?<!\\R{2})",
         "a",
         false},
        {"a range that begins with a class is an error in PCRE2",
         {"\\d-", "\\D-", "\\w-", "\\W-", "\\s-", "\\S-", "\\h-", "\\H-", "\\v-", "\\V-", ":]-"},
         {"["},
         "[\\d-z]",
         "-",
         false},
        {"in a class, an escape that is not a character is a letter in PCRE, an error in PCRE2",
         {"["},
         {"\\R", "\\X", "\\B", "\\C", "\\A", "\\z", "\\Z", "\\G", "\\K"},
         "[\\R]",
         "R",
         false},
        {"beside an unknown escape, PCRE2 also reads malformed and refused escapes as letters",
         {"\\i", "\\j", "\\m", "\\q", "\\y", "\\F", "\\I", "\\J", "\\M", "\\O", "\\T", "\\Y",
          "\\_"},
         {"\\N{", "\\L", "\\l", "\\U", "\\u", "\\p", "\\P", "\\o", "\\x", "\\c"},
         "\\y\\L",
         "yL",
         true}};
    return all;
}

bool may_differ(std::string const& pattern) {
    auto const& all = known_differences();
    return std::any_of(all.begin(), all.end(), [&](difference const& known) {
        return holds_one_of(pattern, known.marks) &&
               (known.others.empty() || holds_one_of(pattern, known.others));
    });
}

}  // namespace support
