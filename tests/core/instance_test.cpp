#include <gtest/gtest.h>

#include <support/fakes.h>

namespace {

using kivcore::instance;
using strings = std::vector<std::string>;

// A registry whose factories and objects log their destruction.
class an_instance : public testing::Test {
  protected:
    an_instance() { add("k"); }

    void add(std::string const& key) {
        auto const make = [this, key] {
            return new support::fake_reader([this, key] { ends.push_back("object " + key); });
        };
        auto const end = [this, key] { ends.push_back("factory " + key); };
        registry->register_with_info(support::described_as("", key),
                                     new support::fake_factory(make, end));
    }

    instance<kivcore::reader> reader(std::string const& key) {
        return kivcore::create<kivcore::reader>(registry, "io/read/" + key + "/tests/1.0");
    }

    strings ends;
    support::registry_ptr registry = new kivcore::plugins("/nowhere");
};

TEST_F(an_instance, outlives_its_id_and_the_hosts_registry_and_releases_in_order) {
    auto file = reader("k");
    ASSERT_TRUE(file);
    registry->register_with_info(support::described_as("native", "k"), nullptr);
    registry = nullptr;
    EXPECT_EQ(ends, strings{});
    EXPECT_EQ(file->kind(), kivcore::plugin::k_kind_reader);
    EXPECT_EQ(&*file, file.get());
    file = {};
    EXPECT_EQ(ends, (strings{"object k", "factory k"}));
}

TEST_F(an_instance, is_empty_if_there_is_no_object_of_that_interface) {
    EXPECT_FALSE(reader("unknown"));
    EXPECT_FALSE(kivcore::create<kivcore::reader>(nullptr, "io/read/k/tests/1.0"));
    EXPECT_EQ(instance<kivcore::reader>().get(), nullptr);
    EXPECT_FALSE(kivcore::create<kivcore::writer>(registry, "io/read/k/tests/1.0"));
    EXPECT_EQ(ends, strings{"object k"});
    registry = nullptr;
    EXPECT_EQ(ends, (strings{"object k", "factory k"}));
}

TEST_F(an_instance, can_be_moved_but_not_copied) {
    static_assert(!std::is_copy_constructible_v<instance<kivcore::reader>>);
    static_assert(!std::is_copy_assignable_v<instance<kivcore::reader>>);
    add("other");
    auto first = reader("k");
    auto second = reader("other");
    kivcore::reader const* const object = first.get();

    second = std::move(first);
    EXPECT_EQ(ends, strings{"object other"});
    EXPECT_EQ(second.get(), object);
    EXPECT_FALSE(first);  // NOLINT(bugprone-use-after-move): a moved-from instance is empty
    instance<kivcore::reader> third(std::move(second));
    third.swap(first);
    EXPECT_EQ(first.get(), object);
    EXPECT_FALSE(second);  // NOLINT(bugprone-use-after-move): the same
    EXPECT_EQ(ends, strings{"object other"});
    first = {};
    EXPECT_EQ(ends, (strings{"object other", "object k"}));
}

}  // namespace
