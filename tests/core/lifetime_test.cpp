#include <malloc.h>

#include <cstdio>
#include <cstdlib>

#include <gtest/gtest.h>

#include <support/capture.h>
#include <support/fakes.h>
#include <support/files.h>

namespace {

namespace fs = std::filesystem;

using kivcore::reader;

constexpr char const* k_id = "io/read/k/tests/1.0";

// Each test has its own plug-in directory, so that no other test maps its shared object.
class lifetime : public testing::Test {
  protected:
    // Makes a plug-in directory with the shared object of that name from tests/fixtures.
    void install(std::string const& name, std::string const& element) {
        files.write(name + "/plugin.xml", element);
        fs::create_directories(files.path(name + "/darwin/x86"));
        fs::copy(support::built_object(name), object_path(name));
    }

    void install_memory() { install("memory", support::reader_element("k")); }

    void install_native(std::string const& create = "native_create") {
        install("native", support::plugin_element("native", "read", "k", {{"create", create}}));
    }

    void load(std::string const& name) { ASSERT_TRUE(registry->load_plugin(files.path(name))); }

    std::string object_path(std::string const& name) const {
        return files.path(name + "/darwin/x86/plugin.so");
    }

    bool mapped(std::string const& name) const {
        return support::read_file("/proc/self/maps").find(object_path(name)) != std::string::npos;
    }

    support::temporary_directory files;
    support::registry_ptr registry = new kivcore::plugins("/nowhere");
};

TEST_F(lifetime, a_shared_object_is_mapped_from_the_first_object_to_the_end_of_the_registry) {
    install_memory();
    load("memory");
    EXPECT_FALSE(mapped("memory"));
    registry->create_with_id(k_id);
    EXPECT_TRUE(mapped("memory"));
    support::info_ptr const description = registry->describe_plugin(k_id);
    registry = nullptr;
    EXPECT_FALSE(mapped("memory"));  // a description does not keep it open
    EXPECT_EQ(value_of(*description, "path"), files.path("memory"));
}

TEST_F(lifetime, a_factory_keeps_its_shared_object_open_longer_than_the_registry) {
    install_native();
    load("native");
    support::factory_ptr maker;
    auto object = registry->create_with_id(k_id, maker);
    registry = nullptr;
    EXPECT_TRUE(maker->create());
    object = nullptr;
    EXPECT_TRUE(mapped("native"));
    maker = nullptr;
    EXPECT_FALSE(mapped("native"));
}

TEST_F(lifetime, a_replaced_shared_object_is_closed_when_no_instance_is_left) {
    install_memory();
    install_native();
    for (bool const held : {false, true}) {
        registry = new kivcore::plugins("/nowhere");
        load("memory");
        auto old = kivcore::create<reader>(registry, k_id);
        ASSERT_TRUE(old);
        old = held ? std::move(old) : kivcore::instance<reader>();
        support::capture out(1);
        load("native");
        EXPECT_EQ(out.text(), "Overriding plugin io/read/k/tests/1.0 with native interface\n");
        EXPECT_EQ(mapped("memory"), held);
        EXPECT_TRUE(registry->create_with_id(k_id));
        EXPECT_TRUE(mapped("native"));
        registry = nullptr;
        EXPECT_TRUE(!held || old->open("any", "r") == 0);
        old = {};  // also closes its handle
        EXPECT_FALSE(mapped("memory"));
    }
}

TEST_F(lifetime, a_failed_creation_keeps_nothing_open_longer_than_the_registry) {
    install_native("native_create_throwing");
    load("native");
    EXPECT_THROW(kivcore::create<reader>(registry, k_id), std::runtime_error);
    EXPECT_TRUE(mapped("native"));
    registry = nullptr;
    EXPECT_FALSE(mapped("native"));
}

// Resources that would grow with leaks.
struct holdings {
    std::ptrdiff_t files = support::open_files();
    std::size_t bytes = mallinfo2().uordblks;
};

TEST_F(lifetime, instances_are_released_in_any_order_a_thousand_times_without_growth) {
    install_memory();
    install_native();
    holdings before;
    // The orders repeat every 16 rounds. Later rounds only look for growth, because finding a
    // mapping takes longer than all the rest.
    unsigned int const with_mappings = 100;
    for (unsigned int round = 0; round < with_mappings + 1000; ++round) {
        before = round == with_mappings ? holdings() : before;
        registry = new kivcore::plugins("/nowhere");
        char const* const name = round % 2 == 0 ? "memory" : "native";
        load(name);
        kivcore::instance<reader> held[3];
        for (auto& slot : held) {
            slot = kivcore::create<reader>(registry, k_id);
            ASSERT_TRUE(slot);
            ASSERT_EQ(slot->open("any", "r"), 0);
        }
        // The registry is released before, between or after the instances, which are released in
        // turn.
        for (unsigned int step = 0; step < 4; ++step) {
            ASSERT_TRUE(round >= with_mappings || mapped(name))
                << "round " << round << ", step " << step;
            if (step == round % 4) {
                registry = nullptr;
            } else {
                held[(step + round / 4) % 4 % 3] = {};
            }
        }
        for (auto& slot : held) {
            slot = {};
        }
        ASSERT_FALSE(round < with_mappings && mapped(name)) << "round " << round;
    }
    holdings const after;
    EXPECT_EQ(after.files, before.files);
    EXPECT_LE(after.bytes, before.bytes + 8000);  // less than the smallest block for each round
}

TEST_F(lifetime, static_registries_and_instances_are_destroyed_at_exit) {
    install_memory();
    install_native();
    auto const exit_with_all = [this] {
        static kivcore::instance<reader> last;
        static support::registry_ptr const kept = new kivcore::plugins("/nowhere");
        static kivcore::instance<reader> first;
        auto const report = [] { std::fputs("registry gone", stderr); };
        kept->register_with_info(
            support::described_as("", "reporter"),
            new support::fake_factory([] { return new support::fake_reader; }, report));
        kept->load_plugin(files.path("memory"));
        last = kivcore::create<reader>(kept, k_id);
        last->open("any", "r");
        kept->load_plugin(files.path("native"));
        first = kivcore::create<reader>(kept, k_id);
        std::exit(last && first ? 0 : 1);  // NOLINT(concurrency-mt-unsafe): one thread
    };
    EXPECT_EXIT(exit_with_all(), testing::ExitedWithCode(0), "^registry gone$");
}

}  // namespace
