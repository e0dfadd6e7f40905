// Directories, descriptions and shared objects when the platform fails. The functions here
// replace the platform's for every library that the program loads. With 64-bit file positions,
// the linker sees readdir and open as readdir64 and open64.

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <utility>

#include <gtest/gtest.h>

#include <morbase/es.h>
#include <support/capture.h>
#include <support/fakes.h>
#include <support/files.h>

namespace {

enum e_call { k_readdir, k_open, k_read, k_dlopen, k_dlsym };
enum e_effect { k_fails, k_ends, k_is_short, k_hides_types };

// While this exists, it affects one call of its thread, counted from 0, or with for_good also all
// later ones.
struct system_fault {
    system_fault(e_call which, e_effect what, int error_number, long first, bool lasting)
        : call(which), effect(what), error(error_number), left(first), for_good(lasting) {
        active = this;
    }
    ~system_fault() { active = nullptr; }

    system_fault(system_fault const&) = delete;
    system_fault& operator=(system_fault const&) = delete;

    bool met() const { return left < 0; }

    static thread_local system_fault const* active;

    e_call const call;
    e_effect const effect;
    int const error;
    mutable long left;  // counted down by the calls
    bool const for_good;
};

thread_local system_fault const* system_fault::active = nullptr;

// The fault that affects this call, or null.
system_fault const* striking(e_call call) {
    system_fault const* const fault = system_fault::active;
    if (fault == nullptr || fault->call != call) {
        return nullptr;
    }
    long const before = fault->left--;
    if (before > 0 || (before < 0 && !fault->for_good)) {
        return nullptr;
    }
    errno = fault->error;
    return fault;
}

// dlsym is one of the replaced functions, so dlvsym finds the platform's. The versions depend on
// the processor.
template <typename function>
function* platform(function* /*like*/, char const* name) {
    void* found = nullptr;
    for (char const* const version :
         {"GLIBC_2.34", "GLIBC_2.17", "GLIBC_2.2.5", "GLIBC_2.2", "GLIBC_2.1", "GLIBC_2.0"}) {
        found = found != nullptr ? found : dlvsym(RTLD_NEXT, name, version);
    }
    return reinterpret_cast<function*>(found);
}

}  // namespace

// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name): the platform's are reserved
extern "C" {

dirent* readdir(DIR* open) {
    auto const* const fault = striking(k_readdir);
    if (fault != nullptr && fault->effect == k_fails) {
        return nullptr;
    }
    dirent* const entry = platform(&readdir, "readdir64")(open);
    if (fault != nullptr && entry != nullptr) {
        entry->d_type = DT_UNKNOWN;
    }
    return entry;
}

int open(char const* path, int flags, ...) {
    return striking(k_open) != nullptr ? -1 : platform(&open, "open64")(path, flags, 0755);
}

// What code may call instead that is built with _FORTIFY_SOURCE.
// NOLINTNEXTLINE(bugprone-reserved-identifier,readability-identifier-naming): the platform's name
int __open64_2(char const* path, int flags) {
    return open(path, flags);
}

ssize_t read(int descriptor, void* target, std::size_t count) {
    auto const* const fault = striking(k_read);
    if (fault != nullptr && fault->effect != k_is_short) {
        return fault->effect == k_ends ? 0 : -1;
    }
    std::size_t const most = fault != nullptr ? 1 : count;
    return platform(&read, "read")(descriptor, target, std::min(most, count));
}

void* dlopen(char const* path, int mode) noexcept {
    return striking(k_dlopen) != nullptr ? nullptr : platform(&dlopen, "dlopen")(path, mode);
}

void* dlsym(void* handle, char const* name) noexcept {
    return striking(k_dlsym) != nullptr ? nullptr : platform(&dlsym, "dlsym")(handle, name);
}

}  // extern "C"
// NOLINTEND(readability-inconsistent-declaration-parameter-name)

namespace {

using support::reader_element;
using strings = std::vector<std::string>;

constexpr char const* k_head = "failed to load plugin: ";

class system_faults : public testing::Test {
  protected:
    // What is printed on standard error. It must start with a message of this library.
    template <typename action>
    std::string errors_of(action const& act) {
        support::captured_output output;
        act();
        output.out.text();
        std::string errors = output.err.text();
        EXPECT_TRUE(errors.empty() || errors.rfind(k_head, 0) == 0) << errors;
        return errors;
    }

    support::temporary_directory files;
    support::registry_ptr registry = new kivcore::plugins("/nowhere");
};

// The description takes several reads; each of them may fail.
TEST_F(system_faults, a_description_loads_completely_or_is_reported) {
    struct {
        char const* name;
        e_call call;
        e_effect effect;
        int error;
        bool for_good;
    } const faults[] = {
        {"reads fail", k_read, k_fails, EIO, true},
        {"a read fails", k_read, k_fails, EIO, false},
        {"a read is interrupted", k_read, k_fails, EINTR, false},
        {"the file shrinks", k_read, k_ends, 0, true},
        {"the file seems to end", k_read, k_ends, 0, false},
        {"bytes come one by one", k_read, k_is_short, 0, true},
        {"an open is interrupted", k_open, k_fails, EINTR, false},
    };
    std::string const padding = "<!--" + std::string(20000, '.') + "-->\n";
    files.write("far/plugin.xml", "<bundle>" + reader_element("a") + padding + reader_element("b") +
                                      padding + "</bundle>\n");
    for (auto const& tried : faults) {
        bool met = true;
        for (long number = 0; met && number < 100; ++number) {
            SCOPED_TRACE(tried.name + std::string(", call ") + std::to_string(number));
            registry = new kivcore::plugins("/nowhere");
            bool loaded = false;
            std::string const errors = errors_of([&] {
                system_fault const fault(tried.call, tried.effect, tried.error, number,
                                         tried.for_good);
                loaded = registry->load_plugin(files.path("far"));
                met = fault.met();
            });
            EXPECT_EQ(loaded, errors.empty()) << errors;
            EXPECT_EQ(errors.rfind(k_head), loaded ? std::string::npos : 0) << errors;
            EXPECT_TRUE(loaded || (met && tried.effect != k_is_short));
            EXPECT_TRUE(!loaded || registry->find_plugins(".*").size() == 2);
        }
    }
    EXPECT_EQ(
        errors_of([&] {
            system_fault const fault(k_read, k_ends, 0, 0, true);
            registry->load_plugin(files.path("far"));
        }),
        k_head + std::string("Parser error: \"Extra content at the end of the document\n\"\n"));
}

TEST_F(system_faults, a_description_that_cannot_be_opened_gets_the_documented_message) {
    files.write("a/plugin.xml", reader_element("a"));
    std::pair<e_call, int> const faults[] = {{k_open, EMFILE}, {k_open, EACCES}, {k_read, EIO}};
    for (auto const& tried : faults) {
        std::string const errors = errors_of([&] {
            system_fault const fault(tried.first, k_fails, tried.second, 0, true);
            EXPECT_FALSE(registry->load_plugin(files.path("a")));
        });
        EXPECT_EQ(errors, support::cannot_open(files.path("a")));
    }
}

TEST_F(system_faults, a_directory_without_entry_types_is_still_scanned) {
    files.write("a/plugin.xml", reader_element("a"));
    files.write("notes.txt", "");
    std::string const errors = errors_of([&] {
        system_fault const fault(k_readdir, k_hides_types, 0, 0, true);
        EXPECT_EQ(registry->load_plugins(files.path()), 1);
        EXPECT_TRUE(fault.met());
    });
    EXPECT_EQ(errors, support::cannot_open(files.path("notes.txt")));
}

TEST_F(system_faults, an_interrupted_listing_keeps_what_came_before) {
    for (char const* key : {"a", "b", "c"}) {
        files.write(std::string(key) + "/plugin.xml", reader_element(key));
    }
    for (long number = 0; number < 6; ++number) {  // "." and ".." are listed as well
        registry = new kivcore::plugins("/nowhere");
        system_fault const fault(k_readdir, k_fails, EIO, number, true);
        int const loaded = registry->load_plugins(files.path());
        EXPECT_GE(loaded, number - 2);
        EXPECT_LE(loaded, number);
        EXPECT_EQ(registry->find_plugins(".*").size(), static_cast<std::size_t>(loaded));
    }
}

TEST_F(system_faults, a_dynamic_linker_failure_is_raised_and_the_next_call_tries_again) {
    std::pair<e_call, char const*> const refusals[] = {
        {k_dlopen, "failed to load binary image: unknown reason"},
        {k_dlsym, "couldn't find open function in binary image"}};
    std::string const id = "io/read/seek/tests/1.0";
    for (auto const& [call, reason] : refusals) {
        registry = new kivcore::plugins("/nowhere");
        ASSERT_TRUE(registry->load_plugin(TEST_PLUGIN_DIR "/memory"));
        try {
            system_fault const fault(call, k_fails, ENOMEM, 0, true);
            registry->create_with_id(id);
            ADD_FAILURE() << "nothing raised";
        } catch (morbase::es::base const& error) {
            EXPECT_STREQ(error.what(), reason);
        }
        EXPECT_TRUE(registry->create_with_id(id));
    }
}

}  // namespace
