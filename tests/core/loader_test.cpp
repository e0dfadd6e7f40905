#include <dlfcn.h>

#include <gtest/gtest.h>

#include <morbase/es.h>
#include <support/fakes.h>
#include <support/files.h>

namespace {

int opened = 0;
bool refuse_to_close = false;

template <typename function>
function* platform(char const* name) {
    static auto* const found = reinterpret_cast<function*>(dlsym(RTLD_NEXT, name));
    return found;
}

}  // namespace

// Intercept the library's calls: to count the opens, and to make a close fail. The platform's
// own declarations have reserved parameter names.
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name)
extern "C" __attribute__((visibility("default"))) void* dlopen(char const* path,
                                                               int flags) noexcept {
    ++opened;
    return platform<void*(char const*, int)>("dlopen")(path, flags);
}

extern "C" __attribute__((visibility("default"))) int dlclose(void* handle) noexcept {
    return refuse_to_close ? 1 : platform<int(void*)>("dlclose")(handle);
}
// NOLINTEND(readability-inconsistent-declaration-parameter-name)

namespace {

using kivcore::loader;
using support::built_object;

bool is_open(std::string const& path) {
    void* const handle = platform<void*(char const*, int)>("dlopen")(
        path.c_str(), RTLD_LAZY | RTLD_LOCAL | RTLD_NOLOAD);
    return handle != nullptr && platform<int(void*)>("dlclose")(handle) == 0;
}

// The message of a failed load; empty on success.
std::string load_failure(loader& image) {
    try {
        image.load();
    } catch (morbase::es::call const& failure) {
        return failure.what();
    }
    return "";
}

TEST(loader_test, opens_on_load_and_closes_on_one_unload_after_any_number_of_loads) {
    std::string const path = built_object("memory");
    morbase::ptr_refcount<loader> const image(new loader(path));
    EXPECT_NO_THROW(image->unload());
    for (int round = 0; round < 2; ++round) {
        EXPECT_FALSE(is_open(path));
        EXPECT_EQ(image->lookup("memory_open"), nullptr);
        EXPECT_EQ(image->lookup("malloc"), nullptr);
        opened = 0;
        image->load();
        void* const address = image->lookup("memory_open");
        image->load();
        EXPECT_EQ(opened, 1);
        EXPECT_NE(address, nullptr);
        EXPECT_EQ(image->lookup("memory_open"), address);
        EXPECT_EQ(image->lookup("memory_opened"), nullptr);
        EXPECT_EQ(image->lookup("content"), nullptr);
        EXPECT_EQ(dlsym(RTLD_DEFAULT, "memory_open"), nullptr);
        image->unload();
    }
    EXPECT_FALSE(is_open(path));
}

TEST(loader_test, a_failed_open_is_reported_with_the_platforms_reason_until_it_succeeds) {
    support::temporary_directory const files;
    std::string const paths[] = {files.path("late.so"),
                                 files.write("garbage.so", "this is not a shared object"),
                                 files.path(std::string(5000, 'n'))};
    for (std::string const& path : paths) {
        ASSERT_EQ(dlopen(path.c_str(), RTLD_LAZY | RTLD_LOCAL), nullptr);
        std::string const expected = "failed to load binary image: " + std::string(dlerror());
        morbase::ptr_refcount<loader> const image(new loader(path));
        EXPECT_EQ(load_failure(*image), expected);
        EXPECT_EQ(load_failure(*image), expected);
        EXPECT_EQ(image->lookup("malloc"), nullptr);
        EXPECT_NO_THROW(image->unload());
    }
    morbase::ptr_refcount<loader> const image(new loader(files.path("late.so")));
    EXPECT_NE(load_failure(*image), "");
    std::filesystem::copy(built_object("memory"), files.path("late.so"));
    EXPECT_EQ(load_failure(*image), "");
}

TEST(loader_test, a_path_is_opened_unchanged_or_refused_for_its_linker_token) {
    support::temporary_directory const files;
    // The file's name, and the token in it.
    std::pair<char const*, std::string> const table[] = {
        {"$/a$.so", ""},
        {"$FOO/$LIBS.so", ""},
        {"$LIB64/$ORIGIN_.so", ""},
        {"${LIB/{LIB}.so", ""},
        {"a/$ORIGIN", "$ORIGIN"},
        {"$LIB-64/a.so", "$LIB"},
        {"$PLATFORMS$PLATFORM/a.so", "$PLATFORM"},
        {"$${LIB}64/a.so", "${LIB}"},
    };
    for (auto const& [name, token] : table) {
        std::string const path = files.write(name, "");
        std::filesystem::copy(built_object("memory"), path,
                              std::filesystem::copy_options::overwrite_existing);
        morbase::ptr_refcount<loader> const image(new loader(path));
        EXPECT_EQ(load_failure(*image), token.empty()
                                            ? ""
                                            : "failed to load binary image: " + path +
                                                  ": the dynamic linker would replace " + token +
                                                  "; rename the file or directory");
    }
}

TEST(loader_test, a_failed_close_is_raised_by_unload_and_dropped_by_the_destructor) {
    std::string const path = built_object("memory");
    morbase::ptr_refcount<loader> image(new loader(path));
    image->load();
    void* const address = image->lookup("memory_open");
    refuse_to_close = true;
    EXPECT_EQ(dlsym(RTLD_DEFAULT, "no_such_name"), nullptr);  // an older error is pending
    try {
        image->unload();
        ADD_FAILURE() << "nothing was raised";
    } catch (morbase::es::call const& failure) {
        EXPECT_STREQ(failure.what(), "failed to unload binary image: unknown reason");
    }
    EXPECT_EQ(image->lookup("memory_open"), address);

    auto* const lost = dlopen(path.c_str(), RTLD_LAZY | RTLD_LOCAL | RTLD_NOLOAD);
    image = nullptr;
    refuse_to_close = false;
    EXPECT_TRUE(is_open(path));
    dlclose(lost);
    dlclose(lost);  // the reference that the destructor failed to release
    EXPECT_FALSE(is_open(path));
}

TEST(loader_test, the_plugins_of_a_bundle_share_one_shared_object_opened_once) {
    kivcore::plugins plugins("/nowhere");
    opened = 0;
    ASSERT_TRUE(plugins.load_plugin(TEST_PLUGIN_DIR "/memory"));
    EXPECT_EQ(opened, 0);
    for (char const* id : {"io/read/seek/tests/1.0", "io/read/pair/tests/1.0",
                           "io/read/seek/tests/1.0", "io/write/pair/tests/1.0"}) {
        EXPECT_TRUE(plugins.create_with_id(id)) << id;
    }
    EXPECT_EQ(opened, 1);
}

}  // namespace
