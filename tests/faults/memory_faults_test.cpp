// Runs every operation with each of its allocations failing. The allocator here replaces the
// platform's for every library that the program loads.

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <functional>
#include <limits>
#include <new>
#include <ostream>
#include <thread>

#include <gtest/gtest.h>
#include <libxml/xmlerror.h>

#include <kivsys/readxml_base.h>
#include <morbase/es.h>
#include <support/capture.h>
#include <support/fakes.h>
#include <support/files.h>

// NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming): the platform's names
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void __libc_free(void* block);
}
// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)

namespace {

// Plain values: code that runs within an allocation must not allocate.
thread_local bool armed = false;
thread_local bool from_there_on = false;
thread_local long left = 0;  // allocations that still succeed
std::atomic<long> blocks{0};

bool fails_now() {
    long const before = armed ? left-- : 1;
    bool const fails = before == 0 || (before < 0 && from_there_on);
    errno = fails ? ENOMEM : errno;
    return fails;
}

void* counted(void* block) {
    blocks += block != nullptr ? 1 : 0;
    return block;
}

}  // namespace

// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name): the platform's are reserved
extern "C" {

void* malloc(std::size_t size) noexcept {
    return fails_now() ? nullptr : counted(__libc_malloc(size));
}

void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept {
    return fails_now() ? nullptr : counted(__libc_memalign(alignment, size));
}

// What newer C++ libraries call instead.
int posix_memalign(void** block, std::size_t alignment, std::size_t size) noexcept {
    *block = aligned_alloc(alignment, size);
    return *block != nullptr ? 0 : ENOMEM;
}

void* calloc(std::size_t count, std::size_t size) noexcept {
    return fails_now() ? nullptr : counted(__libc_calloc(count, size));
}

void* realloc(void* block, std::size_t size) noexcept {
    if (fails_now()) {
        return nullptr;
    }
    void* const moved = __libc_realloc(block, size);
    if (block == nullptr) {
        return counted(moved);
    }
    blocks -= size == 0 ? 1 : 0;  // a size of 0 frees the block
    return moved;
}

void free(void* block) noexcept {
    blocks -= block != nullptr ? 1 : 0;
    __libc_free(block);
}

}  // extern "C"
// NOLINTEND(readability-inconsistent-declaration-parameter-name)

namespace {

namespace fs = std::filesystem;

using kivcore::frame_reader;
using strings = std::vector<std::string>;

constexpr long k_none = std::numeric_limits<long>::max();
constexpr char const* k_reader = "io/read/seek/tests/1.0";
constexpr char const* k_writer = "io/write/pair/tests/1.0";
constexpr char const* k_native = "io/read/native/tests/1.0";

enum e_ending { k_returned, k_raised, k_raised_undocumented };

// The result of an operation, and the state after it.
struct outcome {
    bool met = false;  // whether the allocation to fail was reached
    e_ending ending = k_returned;
    long long number = 0;
    strings list;
    long failures = 0;  // directories that were reported as failed
    strings entries;
};

// What an operation works on. Objects are destroyed before the registry.
struct world {
    std::string directory;
    support::registry_ptr registry = new kivcore::plugins("/nowhere");
    support::factory_ptr maker;
    support::info_ptr description;
    morbase::ptr_refcount<kivcore::plugin> object;
    std::string text;
    outcome result;
};

struct scenario {
    char const* name;
    bool loaded;  // whether the registry has the plug-ins beforehand
    // How many blocks other libraries may leak: the XML library up to two while it opens a
    // document, the regular expression library one while it compiles.
    long lost_below;
    std::function<void(world&)> act;
};

// The name of the test.
std::ostream& operator<<(std::ostream& out, scenario const& tried) {
    return out << tried.name;
}

// A line for every entry: its id, its description, and whether an object can be created.
strings entries_of(kivcore::plugins& registry) {
    strings lines;
    for (std::string const& id : registry.find_plugins(".*")) {
        support::info_ptr const description = registry.describe_plugin(id);
        std::string line = id + (registry.create_with_id(id) ? " made" : " not made");
        strings keys;
        description->find(".*", keys);
        for (std::string const& key : keys) {
            line += "|" + key + "=" + value_of(*description, key);
        }
        lines.push_back(line);
    }
    std::sort(lines.begin(), lines.end());
    return lines;
}

// Sets met and ending of the outcome. It must do nothing else, since memory is short.
void act_with_fault(scenario const& tried, world& there, long number, bool for_good) {
    left = number;
    from_there_on = for_good;
    armed = true;
    try {
        tried.act(there);
    } catch (std::bad_alloc const&) {
        there.result.ending = k_raised;
    } catch (morbase::es::base const&) {
        there.result.ending = k_raised;
    } catch (...) {
        there.result.ending = k_raised_undocumented;
    }
    armed = false;
    there.result.met = left < 0;
}

outcome run(scenario const& tried, std::string const& directory, long number, bool for_good) {
    world there;
    there.directory = directory;
    support::captured_output output;
    if (tried.loaded) {
        there.registry->load_plugins(directory);
        there.description = there.registry->describe_plugin(k_reader);
    }
    // The XML library crashes if it has no memory for its data for a thread: set that up now.
    xmlGetLastError();
    support::capture errors(2);
    act_with_fault(tried, there, number, for_good);
    outcome& result = there.result;
    result.list.push_back(there.object ? "made " + there.text : there.text);
    std::string const printed = errors.text();
    for (auto at = printed.find("failed to load"); at != std::string::npos;
         at = printed.find("failed to load", at + 1)) {
        ++result.failures;
    }
    result.entries = entries_of(*there.registry);
    return std::move(result);
}

void write_and_read(world& there) {
    auto const writer = there.registry->create_with_id(k_writer);
    auto const reader = there.registry->create_with_id(k_reader);
    auto& out = dynamic_cast<kivcore::writer&>(*writer);
    auto& in = dynamic_cast<kivcore::reader&>(*reader);
    char copy[8] = {};
    if (out.open("any", "w") != 0 || in.open("any", "r") != 0) {
        there.result.number = -1;
        return;
    }
    there.result.number = out.write("text", 4) + out.close() + in.read(copy, sizeof copy);
    there.text = copy;
}

void read_attributes(world& there) {
    kivsys::xml::reader document(there.directory + "/memory/plugin.xml");
    while (document.next_node()) {
        std::string value;
        if (document.get_attribute("function", value)) {
            there.result.list.push_back(value);
        }
        if (document.get_attribute(0, value)) {
            there.result.list.push_back(value);
        }
    }
    document.raise_if_broken_off();
}

void print(world& there) {
    kivcore::property_string string(std::string(100, 's'));
    kivcore::property_binary binary(morbase::buffer("binary", 6));
    kivcore::property_list list({&string, &binary});
    kivcore::property_map({{"list", &list}}).describe(there.text);
    there.text += frame_reader::audio_media_information(0x6d703461, 1, 2, 3, 4, 2, 16, 0, 48e3F, 0)
                      .describe();
}

void load(world& there) {
    there.result.number = there.registry->load_plugins(there.directory);
}

scenario const k_scenarios[] = {
    {"registry", false, 0,
     [](world& there) { support::registry_ptr(new kivcore::plugins(there.directory)); }},
    {"load_plugins", false, 2, load},
    {"load_plugins_again", true, 2, load},
    {"register_with_id", true, 0,
     [](world& there) {
         auto const* const id = "io/read/by-hand/tests/1.0";
         there.result.number = there.registry->register_with_id(id, nullptr, "By hand") ? 1 : 0;
     }},
    {"find_plugins", true, 1,
     [](world& there) { there.result.list = there.registry->find_plugins("io/(read|write)/.*"); }},
    {"find_keys", true, 1,
     [](world& there) { there.description->find("info\\.(.*)", there.result.list); }},
    // Too long for a string object, which holds up to 22 characters itself.
    {"get_value", true, 0,
     [](world& there) { there.description->get("info.developer.name", there.text); }},
    {"create_native", true, 0,
     [](world& there) { there.object = there.registry->create_with_id(k_native); }},
    {"create_c_style", true, 0,
     [](world& there) { there.object = there.registry->create_with_id(k_reader, there.maker); }},
    {"write_and_read", true, 0, write_and_read},
    {"read_attributes", false, 2, read_attributes},
    {"print", false, 0, print},
};

class memory_exhaustion : public testing::TestWithParam<scenario> {
  protected:
    memory_exhaustion() {
        for (char const* name : {"memory", "native"}) {
            fs::copy(std::string(TEST_PLUGIN_DIR "/") + name, files.path(name),
                     fs::copy_options::recursive);
        }
        files.write("broken/plugin.xml", "<bundle><plugin></bundle>");
        files.write("unbound/plugin.xml", support::plugin_element("native", "read", "unbound", {}));
        // Not on a short-lived thread: the XML library belongs to the first thread that uses it.
        whole = run(GetParam(), files.path(), k_none, false);
    }

    // On its own thread, so that the libraries' data for the thread is freed with it.
    outcome run_on_a_thread(long number, bool for_good) const {
        outcome result;
        std::thread([&] { result = run(GetParam(), files.path(), number, for_good); }).join();
        return result;
    }

    // Whether the operation did everything that it does without a failure.
    bool complete(outcome const& result) const {
        return result.ending == k_returned && result.list == whole.list &&
               result.number == whole.number && result.failures == whole.failures;
    }

    // Whether it failed in a documented way: an exception, a result, a line for each
    // directory that did not load, or a directory of plug-ins that could not be listed.
    bool documented(outcome const& result) const {
        long long const seen = result.number + result.failures;
        bool const loading = whole.failures > 0;
        return result.ending == k_raised ||
               (result.ending == k_returned &&
                (result.number < 0 ||
                 (loading && (seen == 0 || seen == whole.number + whole.failures))));
    }

    // Runs with one failure; returns whether that allocation was reached.
    bool checked_run(long number, bool for_good) const {
        long const before = blocks;
        bool met = false;
        {
            outcome const result = run_on_a_thread(number, for_good);
            met = result.met;
            EXPECT_TRUE(complete(result) || (met && documented(result))) << "allocation " << number;
            EXPECT_TRUE(std::includes(whole.entries.begin(), whole.entries.end(),
                                      result.entries.begin(), result.entries.end()))
                << "allocation " << number;
        }
        long const lost = blocks - before;
        EXPECT_TRUE(lost >= 0 && lost <= (met ? GetParam().lost_below : 0))
            << "allocation " << number << ": lost " << lost;
        return met;
    }

    support::temporary_directory files;
    outcome whole;  // the outcome without a failure
};

TEST_P(memory_exhaustion, every_failed_allocation_is_handled) {
    run_on_a_thread(k_none, false);  // sets up what libraries need once in a process
    for (bool const for_good : {false, true}) {
        SCOPED_TRACE(for_good ? "and all later ones" : "alone");
        long number = 0;
        while (checked_run(number, for_good)) {
            ++number;
        }
        EXPECT_GT(number, 0);
        RecordProperty(for_good ? "allocations_for_good" : "allocations", std::to_string(number));
    }
}

INSTANTIATE_TEST_SUITE_P(of, memory_exhaustion, testing::ValuesIn(k_scenarios),
                         [](auto const& tried) { return std::string(tried.param.name); });

}  // namespace
