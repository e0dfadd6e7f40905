#include <memory_resource>

#include <gtest/gtest.h>

#include <support/capture.h>
#include <support/fakes.h>

namespace {

using support::described_as;
using support::fake_factory;
using support::info_ptr;
using strings = std::vector<std::string>;

std::string refused(std::string const& id) {
    return "Not inserting plugin " + id + " in database (already present with native interface)\n";
}

std::string overridden(std::string const& id) {
    return "Overriding plugin " + id + " with native interface\n";
}

class registry : public testing::Test {
  protected:
    // Registers and returns what was printed; `entered` is the result of the registration.
    std::string add(info_ptr const& description, support::factory_ptr const& maker = nullptr) {
        support::capture out(1);
        entered = plugins->register_with_info(description, maker);
        return out.text();
    }

    std::string add_id(std::string const& id) {
        support::capture out(1);
        entered = plugins->register_with_id(id, nullptr, "display name");
        return out.text();
    }

    strings ids() const { return plugins->find_plugins(".*"); }

    support::registry_ptr plugins = new kivcore::plugins("/nowhere");
    bool entered = false;
};

TEST_F(registry, only_a_native_plugin_takes_over_an_id_and_only_from_one_that_is_not_native) {
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
        info_ptr description;
        strings ids;
    } const lists[] = {
        {described_as("", "a|b"), {"io/read/a/tests/1.0", "io/read/b/tests/1.0"}},
        {described_as("", ""), {"io/read//tests/1.0"}},
        {described_as("", "a|"), {"io/read//tests/1.0", "io/read/a/tests/1.0"}},
        {described_as("", "|a"), {"io/read//tests/1.0", "io/read/a/tests/1.0"}},
        {described_as("", "x/%s%n"), {"io/read/x/%s%n/tests/1.0"}},
        {support::described({}), {"////"}},
        {support::described({{"interface.key", "a|b"}}), {"//a//", "//b//"}},
    };
    for (auto const& list : lists) {
        plugins = new kivcore::plugins("/nowhere");
        EXPECT_EQ(add(list.description), "");
        EXPECT_EQ(ids(), list.ids);
        EXPECT_EQ(add(list.description).substr(0, 21), "Not inserting plugin ");
    }
}

TEST_F(registry, a_refused_key_ends_the_list_and_earlier_keys_stay) {
    add(described_as("native", "taken"));
    EXPECT_EQ(add(described_as("", "first|taken|last")), refused("io/read/taken/tests/1.0"));
    EXPECT_FALSE(entered);
    EXPECT_EQ(ids(), (strings{"io/read/first/tests/1.0", "io/read/taken/tests/1.0"}));
    EXPECT_EQ(add(described_as("native", "twice|twice")), refused("io/read/twice/tests/1.0"));
}

TEST_F(registry, an_id_must_have_five_fields) {
    for (char const* id : {"", "x/y/z/1.0", "x/y/z/d/1.0/", "no slash"}) {
        EXPECT_EQ(add_id(id), "plugin id has wrong format\n") << id;
        EXPECT_FALSE(entered) << id;
    }
    for (char const* id : {"x/y/z/d/1.0", "////"}) {
        EXPECT_EQ(add_id(id), "") << id;
        EXPECT_TRUE(entered) << id;
        EXPECT_EQ(add_id(id), refused(id));
        EXPECT_FALSE(entered) << id;
    }
    EXPECT_EQ(ids(), (strings{"////", "x/y/z/d/1.0"}));
}

TEST_F(registry, a_registration_by_id_gets_a_description) {
    add_id("io/read/a|b/dev/1.2");
    info_ptr const description = plugins->describe_plugin("io/read/b/dev/1.2");
    strings keys;
    ASSERT_TRUE(description && description->find(".*", keys));
    std::string listing;
    for (std::string const& key : keys) {
        listing += key + "=" + value_of(*description, key) + "\n";
    }
    EXPECT_EQ(listing,
              "id=\ninfo.developer.id=dev\ninfo.name=display name\ninfo.version=1.2\n"
              "interface.category=io\ninterface.key=a|b\ninterface.type=read\npath=\n");
}

TEST(a_registry, does_not_use_the_default_memory_resource_of_its_host) {
    auto* const former = std::pmr::set_default_resource(std::pmr::null_memory_resource());
    kivcore::plugins plugins("/nowhere");
    bool const entered = plugins.register_with_id("io/read/k/d/1.0", nullptr, "");
    std::pmr::set_default_resource(former);
    EXPECT_TRUE(entered);
}

TEST_F(registry, creation_returns_the_factory_that_was_used) {
    support::factory_ptr const working = new fake_factory;
    support::factory_ptr const idle = new fake_factory([] { return nullptr; });
    add(described_as("", "a|b"), working);
    add(described_as("", "idle"), idle);
    add(described_as("", "no factory"));

    support::captured_output output;
    support::factory_ptr maker;
    EXPECT_TRUE(plugins->create_with_id("io/read/b/tests/1.0", maker));
    EXPECT_EQ(maker, working);
    for (char const* id :
         {"io/read/idle/tests/1.0", "io/read/no factory/tests/1.0", "io/read/b/tests/1", ""}) {
        EXPECT_FALSE(plugins->create_with_id(id)) << id;
        EXPECT_FALSE(plugins->create_with_id(id, maker)) << id;
        EXPECT_EQ(maker, idle);
    }
    EXPECT_EQ(output.out.text() + output.err.text(), "");
}

TEST_F(registry, a_released_factory_is_destroyed_after_the_registry_is_unlocked) {
    int gone = 0;
    auto const look_back = [&] { gone += static_cast<int>(ids().size()); };
    auto const make_nothing = [] { return nullptr; };
    add(described_as("", "k"), new fake_factory(make_nothing, look_back));
    add(described_as("native", "k"), new fake_factory);
    EXPECT_EQ(gone, 1);  // the replaced factory
    support::factory_ptr maker = new fake_factory(make_nothing, look_back);
    EXPECT_TRUE(plugins->create_with_id("io/read/k/tests/1.0", maker));
    EXPECT_EQ(gone, 2);  // the factory that the caller held
}

TEST_F(registry, each_of_many_ids_is_found_and_no_others) {
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
    EXPECT_EQ(ids().size(), descriptions.size());
}

}  // namespace
