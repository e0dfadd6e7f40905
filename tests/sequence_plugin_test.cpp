
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <kivcore/kivcore.h>
#include <support/capture.h>
#include <support/files.h>

namespace {

using kivcore::multi_file_reader;

class sequence_plugin : public testing::Test {
  protected:
    sequence_plugin() : registry(new kivcore::plugins("")) {
        EXPECT_TRUE(registry->load_plugin(BUILT_PLUGIN_DIR "/sequence"));
        reader = kivcore::create<multi_file_reader>(registry, "io/read/sequence/kivcore/1.0");
    }

    // Files, each with its own name as its content.
    void add(std::vector<std::string> const& names) const {
        for (std::string const& name : names) {
            directory.write(name, name);
        }
    }

    // The line on standard error when the pattern is refused; "" when it opens.
    std::string refusal(std::string const& pattern, int expected) const {
        support::capture errors(2);
        int const result = reader->open(directory.path(pattern), "r");
        EXPECT_EQ(result, expected) << pattern;
        EXPECT_EQ(reader->file_count() != 0, result == 0);
        return errors.text();
    }

    // The sequence's whole content; its pattern must open.
    std::string content(std::string const& pattern) {
        EXPECT_EQ(reader->open(directory.path(pattern), "r"), 0) << pattern;
        std::string all = read(1000);
        EXPECT_EQ(reader->size(), static_cast<long long>(all.size()));
        EXPECT_EQ(reader->close(), 0);
        return all;
    }

    // Up to count bytes; "failure" for a negative result.
    std::string read(std::size_t count) {
        std::string bytes(count, '\0');
        last_result = reader->read(bytes.data(), count);
        return last_result < 0 ? "failure" : bytes.substr(0, static_cast<std::size_t>(last_result));
    }

  public:
    support::temporary_directory directory;
    morbase::ptr_refcount<kivcore::plugins> registry;
    kivcore::instance<multi_file_reader> reader;
    long long last_result = 0;
};

TEST_F(sequence_plugin, a_pattern_describes_names_with_its_number) {
    add({"a.8", "a.9", "a.10", "a.08", "a.0009", "a.0010", "a.x", "a.", "a.7.x", "xa.11"});
    add({"98", "99", "100", "101", "0102", "100%.1", "-1", "n-12", "n-13", "r9998n", "r9999n"});
    add({"r10000n", "r010001n", "r123456789012345678901n"});
    struct {
        char const* pattern;
        char const* content;
    } const accepted[] = {
        {"a.%d", "a.8a.9a.10"},
        {"a.#", "a.8a.9a.10"},
        {"a.####", "a.0009a.0010"},
        {"a.%04d", "a.0009a.0010"},
        {"%02d", "9899100101"},
        {"##", "9899100101"},
        {"100%%.%d", "100%.1"},
        {"n-%02d", "n-12n-13"},

        {"-%d", "-1"},
        {"####", "0102"},
        {"r####n", "r9998nr9999nr10000n"},
    };
    for (auto const& row : accepted) {
        EXPECT_EQ(content(row.pattern), row.content) << row.pattern;
    }
    EXPECT_EQ(refusal("n%d", -ENOENT),
              "sequence: " + directory.path("n%d") + " describes no file that is there\n");
}

TEST_F(sequence_plugin, a_pattern_has_exactly_one_number_field) {
    add({"a1", "a%s"});
    struct {
        char const* pattern;
        char const* reason;
    } const refused[] = {
        {"a1", "has no number field, such as #### or %04d, in its last component"},
        {"a####/", "has no number field, such as #### or %04d, in its last component"},
        {"a%%", "has no number field, such as #### or %04d, in its last component"},
        {"a#.#", "has more than one number field"},
        {"a%d%04d", "has more than one number field"},
        {"a%s", "has a % that begins none of %d, %04d (with any width) and %%"},
        {"a%n%d", "has a % that begins none of %d, %04d (with any width) and %%"},
        {"a%4d", "has a % that begins none of %d, %04d (with any width) and %%"},
        {"a%99999999999999999999d", "has a % that begins none of %d, %04d (with any width) and %%"},
        {"a%", "has a % that begins none of %d, %04d (with any width) and %%"},
        {"a%04", "has a % that begins none of %d, %04d (with any width) and %%"},
        {"a%019d", "has a number field of more than 18 digits"},
    };
    for (auto const& row : refused) {
        EXPECT_EQ(refusal(row.pattern, -EINVAL),
                  "sequence: " + directory.path(row.pattern) + " " + row.reason + "\n");
    }
}

TEST_F(sequence_plugin, names_the_first_file_that_is_missing) {
    add({"shot.0003.dpx", "shot.0004.dpx", "shot.0006.dpx", "shot.0009.dpx"});
    EXPECT_EQ(refusal("shot.####.dpx", -ENOENT),
              "sequence: " + directory.path("shot.0005.dpx") +
                  " is missing: the sequence runs from shot.0003.dpx to shot.0009.dpx\n");
}

TEST_F(sequence_plugin, names_what_cannot_be_used) {
    add({"d1", "l1"});
    std::filesystem::create_directory(directory.path("d2"));
    std::filesystem::create_symlink("nowhere", directory.path("l2"));
    EXPECT_EQ(refusal("d%d", -EINVAL),
              "sequence: " + directory.path("d2") + " is no regular file\n");
    EXPECT_EQ(refusal("l%d", -ENOENT),
              "sequence: " + directory.path("l2") + " cannot be used: No such file or directory\n");
    EXPECT_EQ(refusal("none/l%d", -ENOENT), "sequence: " + directory.path("none/") +
                                                " cannot be used: No such file or directory\n");
}

TEST_F(sequence_plugin, is_one_stream_across_the_borders) {
    directory.write("f1", "abc");
    directory.write("f2", "");
    directory.write("f3", "defgh");
    ASSERT_EQ(reader->open(directory.path("f#"), "r"), 0);
    EXPECT_EQ(reader->file_count(), 3U);
    EXPECT_EQ(reader->file_path(2), directory.path("f3"));
    EXPECT_EQ(reader->file_size(1), 0);
    EXPECT_EQ(reader->seek(2, morbase::from_start), 2);
    EXPECT_EQ(reader->current_file(), 0U);
    EXPECT_EQ(read(3), "cde");
    EXPECT_EQ(reader->current_file(), 2U);
    EXPECT_EQ(reader->seek(-4, morbase::from_current), 1);
    EXPECT_EQ(read(100), "bcdefgh");
    EXPECT_EQ(read(100), "");
    EXPECT_EQ(reader->current_file(), 2U);
    EXPECT_EQ(reader->select_file(1), 0);
    EXPECT_EQ(reader->tell(), 3);

    EXPECT_EQ(reader->select_file(3), -EINVAL);
    EXPECT_EQ(reader->file_size(3), -EINVAL);
    EXPECT_EQ(reader->file_path(3), "");
    EXPECT_EQ(reader->seek(1, morbase::from_end), -EINVAL);
    EXPECT_EQ(reader->seek(LLONG_MIN, morbase::from_current), -EINVAL);
    EXPECT_EQ(reader->seek(LLONG_MAX, morbase::from_current), -EINVAL);
    EXPECT_EQ(reader->seek(0, static_cast<morbase::whence>(3)), -EINVAL);
    EXPECT_EQ(reader->tell(), 3);
}

TEST_F(sequence_plugin, positions_go_beyond_32_bits) {
    long long const large = 3LL << 30;  // sparse
    for (char const* name : {"f1", "f2"}) {
        std::filesystem::resize_file(directory.write(name, "start"), large);
    }
    directory.write("f3", "end");
    ASSERT_EQ(reader->open(directory.path("f#"), "r"), 0);
    EXPECT_EQ(reader->size(), 2 * large + 3);
    EXPECT_EQ(reader->seek(2 * large - 1, morbase::from_start), 2 * large - 1);
    EXPECT_EQ(read(100), std::string("\0end", 4));
}

TEST_F(sequence_plugin, a_file_that_shrinks_or_goes_is_a_failure) {
    add({"f1", "f2", "f3"});
    ASSERT_EQ(reader->open(directory.path("f#"), "r"), 0);
    std::filesystem::resize_file(directory.path("f2"), 1);
    EXPECT_EQ(read(100), "f1f");
    EXPECT_EQ(read(100), "failure");
    EXPECT_EQ(last_result, -EIO);
    EXPECT_EQ(reader->tell(), 3);
    std::filesystem::remove(directory.path("f3"));
    EXPECT_EQ(reader->select_file(2), 0);
    EXPECT_EQ(read(100), "failure");
    EXPECT_EQ(last_result, -ENOENT);
}

TEST_F(sequence_plugin, needs_no_descriptor_for_each_file) {
    for (int i = 0; i < 3000; ++i) {
        directory.write("f" + std::to_string(i), "x");
    }
    ASSERT_EQ(reader->open(directory.path("f%d"), "r"), 0);
    EXPECT_EQ(read(5000), std::string(3000, 'x'));
    std::filesystem::directory_iterator const open_now("/proc/self/fd");
    EXPECT_LT(std::distance(begin(open_now), end(open_now)), 100);
}

TEST_F(sequence_plugin, a_closed_reader_refuses_and_an_open_one_stays_open) {
    EXPECT_EQ(read(1), "failure");
    EXPECT_EQ(last_result, -EBADF);
    EXPECT_EQ(reader->seek(0, morbase::from_start), -EBADF);
    EXPECT_EQ(reader->size(), -EBADF);
    EXPECT_EQ(reader->select_file(0), -EBADF);
    EXPECT_EQ(reader->file_size(0), -EBADF);
    EXPECT_EQ(reader->file_path(0), "");
    EXPECT_EQ(reader->current_file(), 0U);

    add({"f1", "f2"});
    EXPECT_EQ(reader->open(directory.path("f#"), "w"), -EINVAL);
    ASSERT_EQ(reader->open(directory.path("f#"), "r"), 0);
    EXPECT_EQ(reader->open(directory.path("f#"), "r"), -EBUSY);
    EXPECT_EQ(read(3), "f1f");
    EXPECT_EQ(reader->close(), 0);
    EXPECT_EQ(reader->tell(), -EBADF);
    EXPECT_EQ(reader->open(directory.path("f#"), "rb"), 0);
    EXPECT_EQ(reader->tell(), 0);
}

TEST_F(sequence_plugin, exports_its_create_function_alone) {
    std::string const list = directory.path("exports");
    std::string const command =
        "nm -D --defined-only -j " BUILT_PLUGIN_DIR "/sequence/darwin/x86/plugin.so >" + list;
    // NOLINTNEXTLINE(cert-env33-c): the command is this test's own
    ASSERT_EQ(std::system(command.c_str()), 0);
    EXPECT_EQ(support::read_file(list), "sequence_create\n");
}

}  // namespace
