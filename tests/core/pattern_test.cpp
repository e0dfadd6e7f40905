// The two regular expression libraries that kivcore can be built with must find the same.

#include <algorithm>
#include <iterator>
#include <random>
#include <sstream>

#include <gtest/gtest.h>

#include <support/pattern_seats.h>

namespace {

using strings = std::vector<std::string>;
using views = std::vector<std::string_view>;

// With this many texts, patterns run as machine code if the library supports it.
constexpr std::size_t k_many = 100;

void expect_the_same(std::string const& pattern, views const& texts) {
    strings const expected = support::matching_with_pcrecpp(pattern, texts);
    EXPECT_EQ(support::matching_with_pcre2(pattern, texts), expected) << pattern;
    views many;
    while (many.size() < k_many) {
        many.insert(many.end(), texts.begin(), texts.end());
    }
    strings const found = support::matching_with_pcre2(pattern, many);
    ASSERT_EQ(found.size() * texts.size(), expected.size() * many.size()) << pattern;
    EXPECT_TRUE(std::equal(expected.begin(), expected.end(), found.begin())) << pattern;
}

strings words(char const* text) {
    std::istringstream rest(text);
    return {std::istream_iterator<std::string>(rest), {}};
}

TEST(regex_libraries, tricky_patterns_mean_the_same) {
    strings texts =
        words(R"(a aa ab abc A y \ a/b 8 (a) a)b E a|b a\b a#b [a] - ] aaaaaaaaaaaaaaaaaaaaaaaa)");
    for (char const* odd : {"", "a\n", "\n", "\r\n", "\t", "a b", "\xff", "\x85"}) {
        texts.emplace_back(odd);
    }
    texts.emplace_back("a\0b", 3);
    strings patterns = words(R"(
        ( ) a)(b a)|(b (?:a))(?:b * a** [ [] [^] []a] [a a{,2} a{2 a{65536} \ a\ \y \_\y [\y]
        \Qa)b \Qa)b\E \E a\Eb (?# a(?#)b) (?x)a#) (?i)A (?s).* .* (?m)^a$ a$ a\Z a\z \Aa \Ga a\K
        \C* \X \R \N* \h \v [[:alpha:]]* [[:foo:]] \p{L} \pL* \x41 \x{41} \101 \o{101} \cI \0 \1
        (a)\1 (?|(a)|(b)) (?>a*)a (?=a)(b*)*a (a*)* (a|a)*b (a+)+ (*UTF8)a (*ACCEPT) a(*ACCEPT)b
        (*F)|a a(*COMMIT)b|a a(*SKIP)b|ab (*FOO) (?R)a (? (?P<n>a) (?<n>a)(?<n>b) (?<=a)b (?<=a*)b
        a(?!b).*)");
    patterns.insert(patterns.end(),
                    {"", "(?x)a #\n b", std::string("a\0b", 3), std::string("a\0", 2)});
    for (std::size_t const groups : {std::size_t{80}, std::size_t{251}}) {
        patterns.push_back(std::string(groups, '(') + "a" + std::string(groups, ')'));
    }
    for (std::string const& pattern : patterns) {
        expect_the_same(pattern, views(texts.begin(), texts.end()));
    }
}

// Patterns and texts of similar characters, so that many match.
class random_texts {
  public:
    std::string text() {
        return joined({"a", "b", "A", "/", "-", " ", "\n", "\r", "\xff", "y"}, 6);
    }

    std::string pattern() {
        std::string made = pieces();
        for (auto groups = random() % 3; groups > 0; --groups) {
            made = pieces() + one_of({"(", "(?:", "(?>", "(?=", "(?!", "(?<=", "(?|", "(?i:"}) +
                   made + one_of({"", "|a", "|" + pieces()}) + ")" + quantifier() + pieces();
        }
        return made;
    }

  private:
    std::string pieces() {
        static strings const all =
            words(R"(a b / . [^/] [a-y] \w \W \s \y \n ^ $ \b \B \A \z \Z \R \N \C
            (?i) (?s) (?x) (?U) (?m) \Qa/\E \K \x61 [[:alpha:]] (a)\1 [ ] ) ( \xff)");
        std::string made;
        for (auto count = random() % 3; count > 0; --count) {
            made += one_of(all) + quantifier();
        }
        return made;
    }

    std::string quantifier() {
        return one_of({"", "", "", "*", "+", "?", "*?", "+?", "*+", "{2}", "{0,2}"});
    }

    std::string joined(strings const& pieces, std::size_t most) {
        std::string made;
        for (auto count = random() % (most + 1); count > 0; --count) {
            made += one_of(pieces);
        }
        return made;
    }

    std::string one_of(strings const& choices) { return choices[random() % choices.size()]; }

    std::mt19937 random{20261123};
};

TEST(regex_libraries, random_patterns_mean_the_same) {
    random_texts random;
    int pairs = 0;
    int matches = 0;
    while (pairs < 10000 && !HasFailure()) {
        strings texts(10);
        std::generate(texts.begin(), texts.end(), [&] { return random.text(); });
        std::string const pattern = random.pattern();
        if (!support::may_differ(pattern)) {
            views const all(texts.begin(), texts.end());
            expect_the_same(pattern, all);
            matches += support::matching_with_pcre2(pattern, all).empty() ? 0 : 1;
            pairs += 10;
        }
    }
    EXPECT_GT(matches, 100);
}

// Each listed difference must still exist; otherwise remove it from the list.
TEST(regex_libraries, known_differences_still_exist) {
    for (support::difference const& known : support::known_differences()) {
        std::string const example = known.example;
        EXPECT_TRUE(support::may_differ(example)) << known.reason;
        EXPECT_EQ(support::matching_with_pcre2(example, {known.text}).size(),
                  known.matches_with_pcre2 ? 1 : 0)
            << known.reason;
        EXPECT_EQ(support::matching_with_pcrecpp(example, {known.text}).size(),
                  known.matches_with_pcre2 ? 0 : 1)
            << known.reason;
    }
}

}  // namespace
