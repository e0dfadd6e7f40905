#include <stdexcept>

#include <gtest/gtest.h>

#include <morbase/es.h>
#include <support/capture.h>
#include <support/fakes.h>

namespace {

using support::described_as;
using support::fake_factory;
using support::info_ptr;
using support::value_of;
using strings = std::vector<std::string>;

std::string refused(std::string const& id) {
    return "Not inserting plugin " + id + " in database (already present with native interface)\n";
}

std::string overridden(std::string const& id) {
    return "Overriding plugin " + id + " with native interface\n";
}

class registry : public testing::Test {
  protected:
    // Registers and gives what was printed; `entered` is the operation's answer.
    std::string add(info_ptr const& description, support::factory_ptr const& maker = nullptr) {
        support::capture out(1);
        entered = plugins->register_with_info(description, maker);
        return out.text();
    }

    std::string add_id(std::string const& id) {
        support::capture out(1);
        entered = plugins->register_with_id(id, new fake_factory, "display name");
        return out.text();
    }

    support::registry_ptr plugins = new kivcore::plugins("/nowhere");
    bool entered = false;
};

TEST_F(registry, only_a_native_plugin_takes_over_an_id_and_only_from_one_that_is_not) {
    std::string const id = "io/read/k/tests/1.0";
    struct {
        char const* present;
        char const* newcomer;
        bool wins;
    } const rules[] = {
        {"c-style", "native", true},  {"", "native", true},         {"c-style", "c-style", false},
        {"native", "native", false},  {"native", "c-style", false}, {"native", "", false},
        {"c-style", "Native", false}, {"native ", "native", true},
    };
    for (auto const& rule : rules) {
        SCOPED_TRACE(std::string(rule.present) + " against " + rule.newcomer);
        plugins = new kivcore::plugins("/nowhere");
        info_ptr const first = described_as(rule.present, "k");
        info_ptr const second = described_as(rule.newcomer, "k");
        auto* const object = new support::fake_reader;
        EXPECT_EQ(add(first), "");
        EXPECT_TRUE(entered);
        EXPECT_EQ(add(second, new fake_factory([&] { return object; })),
                  rule.wins ? overridden(id) : refused(id));
        EXPECT_EQ(entered, rule.wins);
        EXPECT_EQ(plugins->describe_plugin(id), rule.wins ? second : first);
        morbase::ptr_refcount<kivcore::plugin> const made(object);
        EXPECT_EQ(plugins->create_with_id(id), rule.wins ? made : nullptr);
    }
}

TEST_F(registry, each_key_of_a_list_becomes_an_id) {
    struct {
        char const* keys;
        strings ids;
    } const lists[] = {
        {"a|b", {"io/read/a/tests/1.0", "io/read/b/tests/1.0"}},
        {"", {"io/read//tests/1.0"}},
        {"a|", {"io/read//tests/1.0", "io/read/a/tests/1.0"}},
        {"|a", {"io/read//tests/1.0", "io/read/a/tests/1.0"}},
        {"x/y", {"io/read/x/y/tests/1.0"}},
        {"%s%n", {"io/read/%s%n/tests/1.0"}},
    };
    for (auto const& list : lists) {
        plugins = new kivcore::plugins("/nowhere");
        EXPECT_EQ(add(described_as("", list.keys)), "") << list.keys;
        EXPECT_EQ(plugins->find_plugins(".*"), list.ids) << list.keys;
        EXPECT_EQ(add(described_as("", list.keys)).substr(0, 21), "Not inserting plugin ");
    }
}

TEST_F(registry, a_description_that_lacks_a_field_gets_an_empty_one) {
    add(support::described({}));
    add(support::described({{"interface.key", "a|b"}, {"interface.version", "9"}}));
    EXPECT_EQ(plugins->find_plugins(".*"), (strings{"////", "//a//", "//b//"}));
}

TEST_F(registry, a_refused_key_ends_the_list_and_earlier_keys_stay) {
    add(described_as("native", "taken"));
    EXPECT_EQ(add(described_as("", "first|taken|last")), refused("io/read/taken/tests/1.0"));
    EXPECT_FALSE(entered);
    EXPECT_EQ(plugins->find_plugins(".*"),
              (strings{"io/read/first/tests/1.0", "io/read/taken/tests/1.0"}));

    EXPECT_EQ(add(described_as("native", "twice|twice")), refused("io/read/twice/tests/1.0"));
    EXPECT_FALSE(entered);
}

TEST_F(registry, an_id_must_have_five_fields) {
    for (char const* id : {"", "x/y/z/1.0", "x/y/z/d/1.0/", "no slash"}) {
        EXPECT_EQ(add_id(id), "plugin id has wrong format\n") << id;
        EXPECT_FALSE(entered) << id;
    }
    EXPECT_TRUE(plugins->find_plugins(".*").empty());

    for (char const* id : {"x/y/z/d/1.0", "////"}) {
        EXPECT_EQ(add_id(id), "") << id;
        EXPECT_TRUE(entered) << id;
        EXPECT_EQ(add_id(id), refused(id));
        EXPECT_FALSE(entered) << id;
    }
}

TEST_F(registry, a_registration_by_id_describes_itself) {
    add_id("io/read/a|b/dev/1.2");
    info_ptr const description = plugins->describe_plugin("io/read/b/dev/1.2");
    ASSERT_TRUE(description);
    EXPECT_EQ(description, plugins->describe_plugin("io/read/a/dev/1.2"));
    EXPECT_FALSE(plugins->describe_plugin("io/read/a|b/dev/1.2"));

    strings keys;
    ASSERT_TRUE(description->find(".*", keys));
    std::string listing;
    for (std::string const& key : keys) {
        listing += key + "=" + value_of(description, key) + "\n";
    }
    EXPECT_EQ(listing,
              "id=\ninfo.developer.id=dev\ninfo.name=display name\ninfo.version=1.2\n"
              "interface.category=io\ninterface.key=a|b\ninterface.type=read\npath=\n");
}

TEST_F(registry, creation_by_id_gives_null_and_no_notice_when_there_is_nothing_to_give) {
    add(described_as("", "no factory"));
    add(described_as("", "idle"), new fake_factory([] { return nullptr; }));
    support::captured_output output;
    for (char const* id : {"unknown", "", "io/read/no factory/tests/1.0", "io/read/idle/tests/1.0",
                           "io/read/idle/tests/1"}) {
        EXPECT_FALSE(plugins->create_with_id(id)) << id;
    }
    EXPECT_EQ(output.out.text() + output.err.text(), "");
}

TEST_F(registry, creation_hands_out_the_factory_that_made_the_object) {
    support::factory_ptr const working = new fake_factory;
    support::factory_ptr const idle = new fake_factory([] { return nullptr; });
    add(described_as("", "a|b"), working);
    add(described_as("", "idle"), idle);
    add(described_as("", "no factory"));

    support::factory_ptr maker;
    EXPECT_TRUE(plugins->create_with_id("io/read/b/tests/1.0", maker));
    EXPECT_EQ(maker, working);
    EXPECT_FALSE(plugins->create_with_id("io/read/idle/tests/1.0", maker));
    EXPECT_EQ(maker, idle);
    EXPECT_FALSE(plugins->create_with_id("unknown", maker));
    EXPECT_FALSE(plugins->create_with_id("io/read/no factory/tests/1.0", maker));
    EXPECT_EQ(maker, idle);
}

TEST_F(registry, the_callers_old_factory_goes_when_the_registry_can_be_used_again) {
    bool gone = false;
    auto const look_back = [&] {
        EXPECT_TRUE(plugins->describe_plugin("io/read/k/tests/1.0"));
        gone = true;
    };
    add(described_as("", "k"), new fake_factory);
    support::factory_ptr maker = new fake_factory([] { return nullptr; }, look_back);
    EXPECT_TRUE(plugins->create_with_id("io/read/k/tests/1.0", maker));
    EXPECT_TRUE(gone);
}

TEST_F(registry, what_a_factory_throws_arrives_and_the_registry_goes_on) {
    add(described_as("", "broken"), new fake_factory([]() -> kivcore::plugin* {
            throw std::runtime_error("the device is busy");
        }));
    add(described_as("", "working"), new fake_factory);
    for (int round = 0; round < 2; ++round) {
        try {
            plugins->create_with_id("io/read/broken/tests/1.0");
            FAIL() << "nothing was thrown";
        } catch (std::runtime_error const& error) {
            EXPECT_STREQ(error.what(), "the device is busy");
        }
        EXPECT_TRUE(plugins->create_with_id("io/read/working/tests/1.0"));
    }
}

// Answers until it is asked for its version the second time.
class failing_info final : public kivcore::plugins::info {
  public:
    bool get(std::string const& key, std::string& value) const override {
        if (key == "interface.key") {
            value = "first|second";
        } else if (key == "info.version" && asked++ == 1) {
            throw std::runtime_error("the description cannot be read");
        }
        return key == "interface.key";
    }
    bool find(std::string const& /*pattern*/, strings& /*keys*/) const override { return false; }

  private:
    mutable int asked = 0;
};

TEST_F(registry, a_description_that_throws_leaves_what_was_entered_and_no_lock) {
    EXPECT_THROW(plugins->register_with_info(new failing_info, nullptr), std::runtime_error);
    EXPECT_EQ(plugins->find_plugins(".*"), strings{"//first//"});
}

TEST_F(registry, each_of_many_ids_is_found_and_nothing_beside_them) {
    std::vector<info_ptr> descriptions;
    for (int i = 0; i < 3000; ++i) {
        descriptions.push_back(described_as("", "k" + std::to_string(i)));
        ASSERT_TRUE(plugins->register_with_info(descriptions.back(), nullptr));
    }
    for (std::size_t i = 0; i < descriptions.size(); ++i) {
        std::string const id = "io/read/k" + std::to_string(i) + "/tests/1.";
        ASSERT_EQ(plugins->describe_plugin(id + "0"), descriptions[i]) << id;
        ASSERT_FALSE(plugins->describe_plugin(id + "1")) << id;
    }
    EXPECT_EQ(plugins->find_plugins(".*").size(), descriptions.size());
}

TEST_F(registry, a_replaced_factory_goes_when_the_registry_can_be_used_again) {
    bool gone = false;
    auto const look_back = [&] {
        EXPECT_EQ(plugins->find_plugins(".*"), strings{"io/read/k/tests/1.0"});
        gone = true;
    };
    add(described_as("", "k"), new fake_factory([] { return nullptr; }, look_back));
    add(described_as("native", "k"), new fake_factory);
    EXPECT_TRUE(gone);
}

TEST_F(registry, a_factory_under_several_ids_goes_with_the_registry) {
    int farewells = 0;
    add(described_as("", "a|b|c"), new fake_factory([] { return nullptr; }, [&] { ++farewells; }));
    info_ptr const kept = plugins->describe_plugin("io/read/a/tests/1.0");
    plugins = nullptr;
    EXPECT_EQ(farewells, 1);
    EXPECT_EQ(value_of(kept, "interface.key"), "a|b|c");
}

}  // namespace
