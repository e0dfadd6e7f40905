#include <pthread.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <random>
#include <set>
#include <tuple>

#include <gtest/gtest.h>

#include <support/fakes.h>

namespace {

using kivcore::plugin_id_less;
using kivcore::version_greater;
using strings = std::vector<std::string>;

strings found(strings const& ids, std::string const& pattern) {
    kivcore::plugins plugins("/nowhere");
    for (std::string const& id : ids) {
        plugins.register_with_id(id, nullptr, "");
    }
    return plugins.find_plugins(pattern);
}

TEST(version_order, versions_are_ordered_by_four_fields_of_one_byte) {
    // Ascending; the versions of one line are equal.
    strings const ranks[] = {
        {"0", "", "text", "...", "256", "-", "- 1", "+-1", "\xc2\xa0 7", "0.0.0.0x10"},
        {"0.0.0.1", "0.0.0.-4294967295", "0.0.0.00000000000000000000000000001"},
        {"0.0.255"},
        {"0.1", ".1"},
        {"1.0", "1", "1.0.0.0", "1.256", "1.0b3", "1b3"},
        {"1.0.0.1"},
        {"1.0.1", "1.0.0.256"},
        {"1.1", "1.257", "0.257"},
        {"1.2", "01.002"},
        {"1.2.3.4", "1.2.3.4.5", "1.2.3.4.255.1"},
        {"1.9"},
        {"1.10"},
        {"1.255"},
        {"2", "+2", "0.512"},
        {"7", " \t\n\v\f\r7"},
        {"127"},
        {"128"},
        {"254.255.255.255"},
        {"255.255.255.1", "0.0.0.-255"},
        // 32 bits, regardless of the size of long
        {"255.255.255.255", "0.0.0.-1", "0.0.0.4294967295", "0.0.0.4294967296",
         "0.0.0.18446744073709551616", "0.0.0.-4294967296", "0.0.0.99999999999999999999999999"}};
    std::vector<std::pair<strings const*, std::string>> versions;
    for (strings const& rank : ranks) {
        for (std::string const& version : rank) {
            versions.emplace_back(&rank, version);
        }
    }
    for (auto const& [rank_of_a, a] : versions) {
        for (auto const& [rank_of_b, b] : versions) {
            EXPECT_EQ(version_greater()(a, b), rank_of_a > rank_of_b) << a << " against " << b;
        }
    }
}

TEST(id_order, ids_are_ordered_by_prefix_and_then_newest_first) {
    std::string const ascending[] = {"/9",   "/1",      "a/1.10", "a/1.9", "a",     "a/b/1",
                                     "ab/9", "a\x80/2", "b/1",    "plain", "plain2"};
    for (std::string const& a : ascending) {
        for (std::string const& b : ascending) {
            EXPECT_EQ(plugin_id_less()(a, b), &a < &b) << a << " against " << b;
        }
    }
}

using id_place = std::tuple<std::string, unsigned int>;

// The sort key of an id, computed in the simplest way.
id_place place(std::string const& id) {
    auto const slash = id.rfind('/');
    std::string version = id.substr(slash + 1) + '.';
    unsigned int key = 0;
    for (int shift = 24; shift >= 0 && !version.empty(); shift -= 8) {
        key |= static_cast<unsigned int>(std::strtoul(version.c_str(), nullptr, 10)) << shift;
        version.erase(0, version.find('.') + 1);
    }
    return {id.substr(0, slash), ~key};
}

TEST(id_order, random_tables_are_listed_in_the_order_of_a_plain_sort) {
    std::mt19937 random{20240229};
    auto const one_of = [&random](strings const& pieces) {
        return pieces[random() % pieces.size()];
    };
    strings const pieces{"0", "1", "2", "10", "255", "256", "257", "-1", " 3", "+4", "x", "5x", ""};
    for (int round = 0; round < 50; ++round) {
        std::set<std::string> table;
        while (table.size() < 40) {
            std::string id = "io/read/" + one_of({"a", "b", "\xff", "."}) + '/' +
                             one_of({"d", "d-", "d--", "D"}) + '/';
            for (auto fields = random() % 6; fields > 0; --fields) {
                id += one_of(pieces) + (fields > 1 ? "." : "");
            }
            table.insert(id);
        }
        strings const listed = found({table.begin(), table.end()}, ".*");
        ASSERT_EQ(std::set<std::string>(listed.begin(), listed.end()), table);
        for (std::size_t i = 1; i < listed.size(); ++i) {
            bool const before = place(listed[i - 1]) < place(listed[i]);
            ASSERT_TRUE(before || place(listed[i - 1]) == place(listed[i])) << listed[i];
            ASSERT_EQ(plugin_id_less()(listed[i - 1], listed[i]), before) << listed[i];
        }
    }
}

TEST(search, a_pattern_selects_whole_ids_newest_version_first) {
    strings const ids{"io/read/k/d/1.9", "io/read/k/d/1.10", "io/read/k/d/2.0", "io/write/k/d/1.0"};
    strings const readers{"io/read/k/d/2.0", "io/read/k/d/1.10", "io/read/k/d/1.9"};
    EXPECT_EQ(found(ids, "io/read/.*"), readers);
    EXPECT_EQ(found(ids, "io/read/k/d/1.1."), strings{"io/read/k/d/1.10"});
    EXPECT_EQ(found(ids, ".*/(1\\.9|1\\.10)"), (strings{readers[1], readers[2]}));
    EXPECT_EQ(found(ids, ".*").size(), ids.size());
    EXPECT_EQ(found(ids, "^io/read/.*$"), readers);
    for (char const* nothing :
         {"io", "", "/read/", "IO/read/.*", "io/read/k/d/1", "io/[", "(", "*"}) {
        EXPECT_TRUE(found(ids, nothing).empty()) << nothing;
    }
}

TEST(search, a_version_may_contain_the_field_separator) {
    kivcore::plugins plugins("/nowhere");
    for (char const* version : {"1", "5/1", "7"}) {
        plugins.register_with_info(support::described({{"interface.category", "a"},
                                                       {"interface.type", "b"},
                                                       {"interface.key", "c"},
                                                       {"info.developer.id", "d"},
                                                       {"info.version", version}}),
                                   nullptr);
    }
    EXPECT_EQ(plugins.find_plugins(".*"), (strings{"a/b/c/d/7", "a/b/c/d/1", "a/b/c/d/5/1"}));
    EXPECT_EQ(plugins.find_plugins("a/b/c/d/5.*"), strings{"a/b/c/d/5/1"});
}

// A search only examines ids with the literal start of the pattern; a description tries all keys.
TEST(search, random_patterns_select_the_same_ids_as_a_walk_over_all) {
    std::mt19937 random{20240301};
    auto const text_of = [&random](strings const& pieces, std::size_t most) {
        std::string text;
        for (auto count = random() % (most + 1); count > 0; --count) {
            text += pieces[random() % pieces.size()];
        }
        return text;
    };
    strings const in_ids{"a", "b", "A", "-", ".", " ", "\n", "\xff"};
    strings const in_patterns{
        "a",    "a", "b", "/", "/", "-", " ",  "\n",  "\xff", "\\Q",   "\\E",
        ".",    "*", "+", "?", "|", "^", "$",  "{2}", "{0,}", "(?i)",  "(?x)",
        "(?#)", "(", ")", "[", "]", "#", "\\", ".*",  "/.*",  "[^|]*", std::string(1, '\0')};
    kivcore::plugins plugins("/nowhere");
    kivcore::__info all;
    for (int i = 0; i < 300; ++i) {
        std::string id = text_of(in_ids, 2);
        for (int field = 1; field < 5; ++field) {
            id += '/' + text_of(in_ids, 2);
        }
        plugins.register_with_id(id, nullptr, "");
        all.values[id] = "";
    }
    int selective = 0;
    for (int round = 0; round < 5000; ++round) {
        std::string const pattern = text_of(in_patterns, 6) + (round % 2 == 0 ? ".*" : "");
        strings listed = plugins.find_plugins(pattern);
        std::sort(listed.begin(), listed.end());
        strings keys;
        all.find(pattern, keys);
        ASSERT_EQ(listed, keys) << pattern;
        selective += !keys.empty() && keys.size() < all.values.size() ? 1 : 0;
    }
    EXPECT_GT(selective, 100);  // many patterns match some ids but not all
}

std::string repeated(std::string const& text, int times) {
    std::string all;
    for (int i = 0; i < times; ++i) {
        all += text;
    }
    return all;
}

// Smaller than the platform's default. All tests use the same size, because the platform may reuse
// the larger stack of a thread that ended.
constexpr std::size_t k_small_stack = 128 << 10;

// Runs act on a thread with a small stack.
void on_a_small_stack(std::function<void()> act) {
    pthread_attr_t attributes;
    ASSERT_EQ(pthread_attr_init(&attributes), 0);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, k_small_stack), 0);
    auto const body = [](void* argument) -> void* {
        (*static_cast<std::function<void()>*>(argument))();
        return nullptr;
    };
    pthread_t thread{};
    ASSERT_EQ(pthread_create(&thread, &attributes, body, &act), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
}

// Long ids and long patterns, for which a matcher could recurse once for each byte or group.
void search_with_long_texts() {
    std::string const long_id = "a/" + std::string(1 << 20, 'b') + "/c/d/1.0";
    strings const ids{long_id, "a/b/c/d/1.0"};
    EXPECT_EQ(found(ids, ".*"), (strings{"a/b/c/d/1.0", long_id}));
    for (char const* recursive : {"(?:.|x)*", "(.|x)*", "a/(b|bb)+/c/d/1\\.0"}) {
        EXPECT_EQ(found(ids, recursive), strings{"a/b/c/d/1.0"}) << recursive;
    }
    EXPECT_TRUE(found(ids, repeated("(x)", 200000)).empty());
}

TEST(search, long_texts_do_not_overflow_the_stack) {
    search_with_long_texts();
    on_a_small_stack(search_with_long_texts);
}

// Each step of this search reads the whole id, and the number of steps is huge: without a bound,
// the test hangs.
TEST(search, a_search_of_a_long_id_ends) {
    std::string const long_id = "a/b/c/d/" + std::string(1 << 16, 'a');
    char const* const slow = "a/b/c/d/(a(?=[^b]*+)|a(?=[^b]*+)){20}b";
    EXPECT_TRUE(found({long_id}, slow).empty());
    strings const both{long_id, long_id + "b"};
    EXPECT_EQ(found(both, "a/b/.*/a*"), strings{long_id});
}

std::string nested(int depth) {
    return repeated("(", depth) + "a/b/c/d/1" + repeated(")", depth);
}

TEST(search, nested_groups_do_not_overflow_the_stack) {
    strings const ids{"a/b/c/d/1"};
    std::string calls = "(?<=(?1))";
    for (int group = 2; group < 4000; ++group) {
        calls += "((?" + std::to_string(group) + "))";
    }
    EXPECT_EQ(found(ids, nested(80)), ids);
    on_a_small_stack([&] {
        EXPECT_EQ(found(ids, nested(10)), ids);
        EXPECT_EQ(found(ids, "(?:" + repeated("\\(|", 1000) + ids[0] + ")"), ids);
        EXPECT_TRUE(found(ids, nested(251)).empty());
        EXPECT_TRUE(found(ids, nested(50000)).empty());
        EXPECT_TRUE(found(ids, calls + "(.*)").empty());
    });
}

// The limits of PCRE depend on the stack instead.
TEST(search, a_pattern_beyond_the_limits_of_pcre2_matches_nothing) {
    if (std::string(REGEX_LIBRARY) != "pcre2") {
        GTEST_SKIP() << "kivcore is built with " << REGEX_LIBRARY;
    }
    std::string const id = "a/b/c/d/1";
    EXPECT_TRUE(found({id}, nested(81)).empty());
    std::pair<std::string, std::size_t> const longest[] = {
        {"", 64 << 10},      {"()\\g1", 1 << 10}, {"(*F)|", 1 << 10},
        {"()(?1)", 1 << 10}, {"(?:)", 64 << 10},
    };
    for (auto const& [start, most] : longest) {
        std::string const within =
            start + id + "(?#" + std::string(most - start.size() - id.size() - 4, 'x');
        EXPECT_EQ(found({id}, within + ")"), strings{id}) << start;
        EXPECT_TRUE(found({id}, within + "x)").empty()) << start;
    }
    // A malformed escape is an error, but an unknown one is a letter.
    EXPECT_TRUE(found({"a/b/c/d/x{2z}"}, "a/b/c/d/\\x{2z}").empty());
    // Each character of a matching text takes memory for each group.
    std::string const greedy = "a/b/c/d/(?:.|x)*|" + repeated("()", 8000);
    EXPECT_EQ(found({id, id + std::string(2000, '1')}, greedy), strings{id});
}

}  // namespace
