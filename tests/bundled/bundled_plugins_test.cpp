// What all bundled plug-ins have in common.

#include <cerrno>
#include <climits>
#include <iterator>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <kivcore/kivcore.h>
#include <support/bundled.h>
#include <support/files.h>

namespace {

using names = std::set<std::string>;

names bound_functions(kivcore::plugins& registry) {
    names functions;
    for (std::string const& id : registry.find_plugins(".*")) {
        auto const description = registry.describe_plugin(id);
        std::vector<std::string> keys;
        EXPECT_TRUE(description->find("interface\\.bind\\..*", keys));
        for (std::string const& key : keys) {
            functions.insert(value_of(*description, key));
        }
    }
    return functions;
}

TEST(bundled_plugins, only_the_bound_functions_are_exported) {
    support::temporary_directory const files;
    for (std::string const name : {"archive", "file", "gzip", "sequence", "sound", "watch"}) {
        morbase::ptr_refcount<kivcore::plugins> const registry(new kivcore::plugins(""));
        ASSERT_TRUE(registry->load_plugin(BUILT_PLUGIN_DIR "/" + name));
        ASSERT_EQ(0, files.shell("nm -D --defined-only -j " BUILT_PLUGIN_DIR "/" + name +
                                 "/darwin/x86/plugin.so >exports"));
        std::istringstream listed(support::read_file(files.path("exports")));
        names const exports(std::istream_iterator<std::string>(listed), {});
        EXPECT_EQ(bound_functions(*registry), exports) << name;
    }
}

// Seeks that must fail for any size: offset and origin.
std::pair<long long, int> const k_nowhere[] = {
    {-1, 0}, {-1, 1}, {-11, 2}, {LLONG_MIN, 1}, {LLONG_MIN, 2}, {LLONG_MAX, 2}, {0, 3}};

TEST(bundled_plugins, a_reader_works_only_between_open_and_close) {
    support::temporary_directory const files;
    files.write("part1", "ten bytes!");
    ASSERT_EQ(0, files.shell("tar -cf a.tar part1 && gzip -k part1"));
    std::string const header(
        "RIFF\x2e\0\0\0WAVEfmt \x10\0\0\0\1\0\1\0\x40\x1f\0\0\x80\x3e\0\0\2\0\x10\0data\x0a\0\0\0",
        44);
    files.write("a.wav", header + "ten bytes!");
    struct {
        std::string key;
        std::string path;
        std::string content;
        bool single;  // refuses a second open
    } const readers[] = {
        {"file", files.path("part1"), "ten bytes!", false},
        {"gzip", files.path("part1.gz"), "ten bytes!", false},
        {"archive", "archive:" + files.path("a.tar") + "!/part1", "ten bytes!", true},
        {"sequence", files.path("part#"), "ten bytes!", true},
        {"sound", files.path("a.wav"), "ten bytes!", true},
    };
    for (auto const& [key, path, content, single] : readers) {
        SCOPED_TRACE(key);
        auto const reader = support::bundled<kivcore::reader>("read", key);
        for (std::string const mode : {"r", "rb"}) {
            EXPECT_EQ(support::failure(EBADF), support::take(*reader, 1));
            EXPECT_EQ(-EBADF, reader->seek(0, morbase::from_start));
            EXPECT_EQ(-EBADF, reader->tell());
            EXPECT_EQ(-EBADF, reader->size());
            EXPECT_EQ(0, reader->close());
            EXPECT_EQ(-EINVAL, reader->open(path, "w"));
            ASSERT_EQ(0, reader->open(path, mode));
            for (auto const& [offset, origin] : k_nowhere) {
                EXPECT_GT(0, reader->seek(offset, static_cast<morbase::whence>(origin))) << offset;
            }
            EXPECT_EQ(0, reader->tell());
            EXPECT_EQ(single ? -EBUSY : 0, single ? reader->open(path, mode) : 0);
            EXPECT_EQ(content, support::take_all(*reader));
            EXPECT_EQ(0, reader->close());
        }
    }
}

}  // namespace
