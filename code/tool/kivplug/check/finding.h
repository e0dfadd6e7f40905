// What 'kivplug check' finds: mistakes in a plug-in directory, each under a stable code.

#ifndef KIVPLUG_CHECK_FINDING_H
#define KIVPLUG_CHECK_FINDING_H

#include <string>
#include <vector>

namespace kivplug {

// A finding of any level gives the exit status 1. Advice is given with --strict only.
enum class level { error, warning, advice };

// What the findings of a rule mean to later steps.
enum class consequence {
    none,
    object_unknown,  // without a description in its place, nothing is known about the object
    object_kept      // the object stays in memory, which no later step reports again
};

// One kind of mistake. The number never changes and is never used again for another one.
struct rule {
    int number = 0;  // 104 for KIV104
    level weight = level::error;
    char const* name = "";   // in words joined by hyphens
    char const* cause = "";  // one sentence
    char const* cure = "";   // one sentence
    consequence then = consequence::none;

    std::string code() const { return "KIV" + std::to_string(number); }
};

// Every rule, in ascending order. docs/diagnosis.md has the same table.
std::vector<rule> const& all_rules();

// The rule with this number, which must exist.
rule const& rule_of(int number);

// Where a mistake is. What is not known stays empty or 0.
struct location {
    std::string file;
    int line = 0;    // from 1
    int column = 0;  // from 1, in bytes
    std::string symbol = {};

    // "FILE:LINE:COLUMN", without what is not known.
    std::string text() const;
};

struct finding {
    int rule;  // its number
    location where;
    std::string problem;  // what is wrong, one sentence without its full stop
    std::string repair;   // what to do, in the imperative, without a full stop
};

using findings = std::vector<finding>;

}  // namespace kivplug

#endif
