#include <limits>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <kivcore/property.h>

namespace {

using namespace std::string_literals;
using kivcore::property;
using kivcore::property_binary;
using kivcore::property_int;
using kivcore::property_list;
using kivcore::property_map;
using kivcore::property_real;
using kivcore::property_string;

std::string text_of(property const& value) {
    std::string text = "before ";  // describe appends
    value.describe(text);
    EXPECT_EQ(text.substr(0, 7), "before ");
    return text.substr(7);
}

TEST(property, plain_values_print_themselves) {
    double const infinity = std::numeric_limits<double>::infinity();
    EXPECT_EQ(text_of(property_string("say \"hi\"\n%s %n")), "\"say \"hi\"\n%s %n\"");
    EXPECT_EQ(text_of(property_string("cut\0off"s)), "\"cut\"");
    EXPECT_EQ(text_of(property_binary({"\0\xff\x61", 3})), "AP9h");
    EXPECT_EQ(text_of(property_int(std::numeric_limits<long long>::min())), "-9223372036854775808");
    EXPECT_EQ(text_of(property_real(1.5)), "1.500000");
    EXPECT_EQ(text_of(property_real(-infinity)), "-inf");
    EXPECT_EQ(text_of(property_real(std::numeric_limits<double>::max())).size(), 309U + 7U);
}

TEST(property, containers_print_their_elements) {
    property_int one(1);
    property_string a("a");
    property_string percent("%d");
    property_list empty_list({});
    property_map empty_map({});
    property_list list({&one, &a, &percent});
    property_list nested({&empty_list, &list, &empty_map});

    EXPECT_EQ(text_of(empty_list), "[]");
    EXPECT_EQ(text_of(empty_map), "{}");
    EXPECT_EQ(text_of(list), "[1, \"a\", \"%d\"]");
    EXPECT_EQ(text_of(nested), "[[], [1, \"a\", \"%d\"], {}]");
    EXPECT_EQ(text_of(property_map({{"b", &nested}, {"a\0b"s, &one}, {"B", &one}, {"\xff", &a}})),
              "{\"B\": 1, \"a\": 1, \"b\": [[], [1, \"a\", \"%d\"], {}], \"\xff\": \"a\"}");

    one = property_int(-7);  // containers refer to their elements
    EXPECT_EQ(text_of(list), "[-7, \"a\", \"%d\"]");
}

TEST(property, values_of_different_kinds_are_neither_equal_nor_ordered) {
    property_string const text("1");
    property_binary const binary({"1", 1});
    property_int const integer(1);
    property_real const real(1.0);
    property_list const list({});
    property_map const map({});
    std::vector<property const*> const one_of_each = {&text, &binary, &integer, &real, &list, &map};
    for (std::size_t i = 0; i < one_of_each.size(); ++i) {
        EXPECT_EQ(one_of_each[i]->kind(), static_cast<int>(i) + 1);
        for (std::size_t j = 0; j < one_of_each.size(); ++j) {
            EXPECT_EQ(*one_of_each[i] == *one_of_each[j], i == j) << i << ", " << j;
            EXPECT_FALSE(*one_of_each[i] < *one_of_each[j]) << i << ", " << j;
        }
    }
}

// Each value is less than all later ones and equal only to itself.
void expect_ascending(std::vector<std::shared_ptr<property>> const& values) {
    for (std::size_t i = 0; i < values.size(); ++i) {
        for (std::size_t j = 0; j < values.size(); ++j) {
            EXPECT_EQ(*values[i] < *values[j], i < j) << i << ", " << j;
            EXPECT_EQ(*values[i] == *values[j], i == j) << i << ", " << j;
        }
    }
}

template <typename kind, typename... values>
std::vector<std::shared_ptr<property>> all(values const&... of) {
    return {std::make_shared<kind>(of)...};
}

TEST(property, values_of_one_kind_are_ordered) {
    using morbase::buffer;
    using limits = std::numeric_limits<long long>;
    expect_ascending(all<property_string>(""s, "a"s, "a\0"s, "ab"s, "b"s, "\x80"s));
    expect_ascending(all<property_binary>(buffer(), buffer("\0", 1), buffer("\0\0", 2),
                                          buffer("\x7f", 1), buffer("\x80", 1)));
    expect_ascending(
        all<property_int>(limits::min(), -1LL, 0LL, 1LL << 53, (1LL << 53) + 1, limits::max()));
    expect_ascending(all<property_real>(-1e300, -0.5, 0.0, 1e-300, 1.0));
    property_string const a("a");
    EXPECT_TRUE(a >= a);
    EXPECT_FALSE(a >= property_string("ab"));
}

TEST(property, reals_compare_as_in_ieee_754) {
    property_real const nan(std::numeric_limits<double>::quiet_NaN());
    EXPECT_FALSE(nan == nan);
    EXPECT_FALSE(nan < property_real(0));
    EXPECT_FALSE(property_real(0) < nan);
    EXPECT_TRUE(property_real(0.0) == property_real(-0.0));
}

TEST(property, containers_are_ordered_by_the_addresses_of_their_elements) {
    property_int elements[] = {property_int(9), property_int(1), property_int(1)};
    property* const p0 = &elements[0];  // ascending addresses, regardless of the values
    property* const p1 = &elements[1];
    property* const p2 = &elements[2];
    using list = std::list<property*>;
    using map = std::map<std::string, property*>;
    expect_ascending(
        all<property_list>(list{}, list{p0}, list{p0, p1}, list{p0, p2}, list{p1}, list{p2, p0}));
    expect_ascending(all<property_map>(map{}, map{{"a", p0}}, map{{"a", p0}, {"b", p2}},
                                       map{{"a", p0}, {"c", p1}}, map{{"a", p2}}, map{{"b", p1}}));
}

TEST(property, copies_have_their_own_bytes_and_share_the_elements) {
    property_binary source({"\0b", 2});
    property_binary const copy = source;
    source = property_binary({"c", 1});
    EXPECT_EQ(text_of(copy), "AGI=");
    EXPECT_EQ(text_of(source), "Yw==");

    property_int one(1);
    property_int equal_one(1);
    property_list const list({&one});
    EXPECT_TRUE(property_list(list) == list);
    EXPECT_FALSE(property_list({&equal_one}) == list);
    EXPECT_FALSE(property_map({{"k", &one}}) == property_map({{"k", &equal_one}}));
}

}  // namespace
