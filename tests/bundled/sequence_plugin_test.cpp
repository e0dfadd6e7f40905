#include <cerrno>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <kivcore/kivcore.h>
#include <support/bundled.h>
#include <support/capture.h>
#include <support/files.h>

namespace {

using kivcore::multi_file_reader;
using support::failure;
using support::take;
using support::take_all;

struct sequence_plugin : testing::Test {
    // Writes files whose content is their name.
    void add(std::vector<std::string> const& names) const {
        for (std::string const& name : names) {
            directory.write(name, name);
        }
    }

    // The line on standard error if the pattern is refused; "" if it opens.
    std::string refusal(std::string const& pattern, int expected) const {
        support::capture errors(2);
        int const result = reader->open(directory.path(pattern), "r");
        EXPECT_EQ(result, expected) << pattern;
        EXPECT_EQ(reader->file_count() != 0, result == 0);
        return errors.text();
    }

    void open(std::string const& pattern) const {
        ASSERT_EQ(reader->open(directory.path(pattern), "r"), 0) << pattern;
    }

    support::temporary_directory directory;
    kivcore::instance<multi_file_reader> reader =
        support::bundled<multi_file_reader>("read", "sequence");
};

TEST_F(sequence_plugin, a_pattern_matches_names_with_a_number_in_its_field) {
    add({"a.8", "a.9", "a.10", "a.08", "a.0009", "a.0010", "a.x", "a.", "a.7.x", "xa.11"});
    add({"98", "99", "100", "101", "0102", "100%.1", "-1", "n-12", "n-13", "r9998n", "r9999n"});
    add({"r10000n", "r010001n", "r123456789012345678901n", "t#1%.1#"});
    struct {
        char const* pattern;
        char const* content;
    } const accepted[] = {
        {"a.%d", "a.8a.9a.10"},     {"a.#", "a.8a.9a.10"},
        {"a.####", "a.0009a.0010"}, {"a.%04d", "a.0009a.0010"},
        {"%02d", "9899100101"},     {"##", "9899100101"},
        {"100%%.%d", "100%.1"},     {"t%#1%%.%d%#", "t#1%.1#"},
        {"n-%02d", "n-12n-13"},     {"-%d", "-1"},
        {"####", "0102"},           {"r####n", "r9998nr9999nr10000n"},
    };
    for (auto const& row : accepted) {
        open(row.pattern);
        EXPECT_EQ(take_all(*reader), row.content) << row.pattern;
        EXPECT_EQ(reader->tell(), reader->size()) << row.pattern;
        EXPECT_EQ(reader->close(), 0);
    }
}

TEST_F(sequence_plugin, a_pattern_has_exactly_one_number_field) {
    add({"a1", "a%s"});
    std::pair<std::string, std::vector<std::string>> const refused[] = {
        {"has no number field, such as #### or %04d, in its last component",
         {"a1", "a####/", "a%%"}},
        {"has more than one number field; write %# for a # in the names", {"a#.#", "a%d%04d"}},
        {"has a % that is not part of %d, %04d (with any width), %% or %#",
         {"a%s", "a%n%d", "a%4d", "a%99999999999999999999d", "a%", "a%04"}},
        {"has a number field of more than 18 digits", {"a%019d"}},
    };
    for (auto const& [reason, patterns] : refused) {
        for (std::string const& pattern : patterns) {
            EXPECT_EQ(refusal(pattern, -EINVAL),
                      "sequence: " + directory.path(pattern) + " " + reason + "\n");
        }
    }
}

TEST_F(sequence_plugin, names_the_file_that_is_missing_or_cannot_be_used) {
    add({"d1", "l1", "shot.0003.dpx", "shot.0004.dpx", "shot.0006.dpx", "shot.0009.dpx"});
    std::filesystem::create_directory(directory.path("d2"));
    std::filesystem::create_symlink("nowhere", directory.path("l2"));
    struct {
        char const* pattern;
        int result;
        char const* named;
        char const* reason;
    } const refused[] = {
        {"shot.####.dpx", -ENOENT, "shot.0005.dpx",
         "is missing: the sequence runs from shot.0003.dpx to shot.0009.dpx"},
        {"n%d", -ENOENT, "n%d", "does not match any file"},
        {"d%d", -EINVAL, "d2", "is not a regular file"},
        {"l%d", -ENOENT, "l2", "cannot be used: No such file or directory"},
        {"none/l%d", -ENOENT, "none/", "cannot be used: No such file or directory"},
    };
    for (auto const& row : refused) {
        EXPECT_EQ(refusal(row.pattern, row.result),
                  "sequence: " + directory.path(row.named) + " " + row.reason + "\n");
    }
}

TEST_F(sequence_plugin, is_one_stream_across_file_boundaries) {
    directory.write("f1", "abc");
    directory.write("f2", "");
    directory.write("f3", "defgh");
    EXPECT_EQ(reader->select_file(0), -EBADF);
    EXPECT_EQ(reader->file_size(0), -EBADF);
    EXPECT_EQ(reader->file_path(0), "");
    EXPECT_EQ(reader->current_file(), 0U);
    open("f#");
    EXPECT_EQ(reader->file_count(), 3U);
    EXPECT_EQ(reader->file_path(2), directory.path("f3"));
    EXPECT_EQ(reader->file_size(1), 0);
    EXPECT_EQ(reader->seek(2, morbase::from_start), 2);
    EXPECT_EQ(reader->current_file(), 0U);
    EXPECT_EQ(take(*reader, 3), "cde");
    EXPECT_EQ(reader->current_file(), 2U);
    EXPECT_EQ(reader->seek(-4, morbase::from_current), 1);
    EXPECT_EQ(take(*reader, 100), "bcdefgh");
    EXPECT_EQ(take(*reader, 100), "");
    EXPECT_EQ(reader->current_file(), 2U);
    EXPECT_EQ(reader->select_file(1), 0);
    EXPECT_EQ(reader->tell(), 3);

    EXPECT_EQ(reader->select_file(3), -EINVAL);
    EXPECT_EQ(reader->file_size(3), -EINVAL);
    EXPECT_EQ(reader->file_path(3), "");
    EXPECT_EQ(reader->seek(1, morbase::from_end), -EINVAL);
    EXPECT_EQ(reader->tell(), 3);
}

TEST_F(sequence_plugin, positions_may_exceed_32_bits) {
    long long const large = 3LL << 30;  // sparse
    for (char const* name : {"f1", "f2"}) {
        std::filesystem::resize_file(directory.write(name, "start"), large);
    }
    directory.write("f3", "end");
    open("f#");
    EXPECT_EQ(reader->size(), 2 * large + 3);
    EXPECT_EQ(reader->seek(2 * large - 1, morbase::from_start), 2 * large - 1);
    EXPECT_EQ(take(*reader, 100), std::string("\0end", 4));
}

TEST_F(sequence_plugin, reading_a_file_that_has_shrunk_or_was_removed_fails) {
    add({"f1", "f2", "f3"});
    open("f#");
    std::filesystem::resize_file(directory.path("f2"), 1);
    EXPECT_EQ(take(*reader, 100), "f1f");
    EXPECT_EQ(take(*reader, 100), failure(EIO));
    EXPECT_EQ(reader->tell(), 3);
    std::filesystem::remove(directory.path("f3"));
    EXPECT_EQ(reader->select_file(2), 0);
    EXPECT_EQ(take(*reader, 100), failure(ENOENT));
}

TEST_F(sequence_plugin, does_not_need_a_descriptor_for_each_file) {
    for (int i = 0; i < 3000; ++i) {
        directory.write("f" + std::to_string(i), "x");
    }
    open("f%d");
    EXPECT_EQ(take(*reader, 5000), std::string(3000, 'x'));
    EXPECT_LT(support::open_files(), 100);
}

}  // namespace
