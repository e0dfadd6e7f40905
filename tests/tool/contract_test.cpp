// kivplug contract, over plug-ins with one fault each, and over the bundled ones.

#include <sys/wait.h>

#include <filesystem>
#include <ostream>
#include <string>
#include <utility>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <support/files.h>

namespace {

using nlohmann::json;

// What the plug-ins of tests/fixtures/contract do wrong when it is the name of what they open.
struct fault {
    std::string tested;  // the options and the id
    std::string name;
};

// NOLINTNEXTLINE(readability-identifier-naming): the test library's name
void PrintTo(fault const& each, std::ostream* out) {
    *out << each.name;
}

std::string const k_reader = "io/read/faulty/tests/1.0 ";
std::string const k_frame_reader = "--frames media/read/faulty/tests/1.0 ";
std::string const k_writer = "--write out/write/faulty/tests/1.0 ";
std::string const k_browser = "--browse io/browse/faulty/tests/1.0 ";

fault const k_faults[] = {
    {k_reader, "block_is_stale"},
    {k_reader, "close_closes_standard_input"},
    {k_reader, "close_leaks"},
    {k_reader, "current_file_is_late"},
    {k_reader, "current_is_the_start"},
    {k_reader, "end_is_a_failure"},
    {k_reader, "end_is_the_last_byte"},
    {k_reader, "failed_open_stays"},
    {k_reader, "failed_seek_is_half_done"},
    {k_reader, "file_too_many"},
    {k_reader, "files_stay_after_close"},
    {k_reader, "offset_has_32_bits"},
    {k_reader, "peek_moves"},
    {k_reader, "position_is_shared"},
    {k_reader, "pauses_at_a_block"},
    {k_reader, "read_after_the_end"},
    {k_reader + "--timeout 200 ", "read_hangs_in_last_block"},
    {k_reader, "read_of_nothing_throws"},
    {k_reader, "read_overruns"},
    {k_reader, "reopen_fails"},
    {k_reader, "reopen_keeps_position"},
    {k_reader, "second_close_crashes"},
    {k_reader, "select_file_is_ignored"},
    {k_reader, "seek_before_the_start"},
    {k_reader, "seek_gives_the_offset"},
    {k_reader, "short_read_is_not_told"},
    {k_reader, "size_is_what_is_left"},
    {k_reader, "size_moves"},
    {k_frame_reader, "frames_end_in_a_failure"},
    {k_frame_reader, "end_is_refused"},
    {k_frame_reader, "frame_after_a_seek_back"},
    {k_frame_reader, "record_of_no_track"},
    {k_frame_reader, "small_buffer_moves_on"},
    {k_frame_reader, "tracks_stay_after_close"},
    {k_writer, "close_loses_a_byte"},
    {k_writer, "flush_does_nothing"},
    {k_writer, "write_appends"},
    {k_writer, "write_is_cut"},
    {k_browser, "directory_is_forgotten"},
    {k_browser, "info_calls_a_file_a_directory"},
    {k_browser, "info_replaces"},
    {k_browser, "list_replaces"},
    {k_browser, "null_list_crashes"},
    {k_browser, "url_of_anything"},
};

class contract : public ::testing::TestWithParam<fault> {
  protected:
    // The exit status; what was printed is in the file "out".
    int run(std::string const& plugins, std::string const& arguments) const {
        int const status =
            files.shell("'" KIVPLUG "' -d '" + plugins + "' contract " + arguments + " >out 2>err");
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    int run_faulty(std::string const& arguments) const {
        return run(TEST_PLUGIN_DIR "/contract", arguments);
    }

    std::string out() const { return support::read_file(files.path("out")); }

    support::temporary_directory files;
};

TEST_P(contract, finds_a_fault_and_shrinks_it) {
    auto const& [tested, name] = GetParam();
    EXPECT_EQ(run_faulty(tested + name + " --sequences 300 --json"), 1);
    auto const found = json::parse(out());
    ASSERT_EQ(found.size(), 1U);
    EXPECT_GE(found[0]["calls"].size(), 1U) << out();
    EXPECT_LE(found[0]["calls"].size(), 6U) << out();
}

INSTANTIATE_TEST_SUITE_P(faults, contract, ::testing::ValuesIn(k_faults),
                         [](auto const& each) { return each.param.name; });

TEST_F(contract, is_kept_without_a_fault) {
    for (auto const& tested :
         {k_reader + "none", k_reader + "seeks_only_forward", k_reader + "opens_only_once",
          k_frame_reader + "none", k_writer + "none", k_browser + "none"}) {
        EXPECT_EQ(run_faulty(tested + " --sequences 300"), 0) << tested << out();
    }
}

TEST_F(contract, what_is_no_test_of_the_plugin_is_refused) {
    std::pair<std::string, std::string> const refused[] = {
        {k_writer + "adds_a_header", "name a reader of its files with --read-with"},
        {k_reader + "never_ends", "use something smaller"},
        {"out/write/faulty/tests/1.0 none", "is a writer, not a reader; use --write"},
        {k_writer + "adds_a_header --read-with io/browse/faulty/tests/1.0",
         "is a browser, not a reader; name a reader with --read-with"},
    };
    for (auto const& [arguments, reason] : refused) {
        EXPECT_EQ(run_faulty(arguments), 1);
        EXPECT_EQ(out(), "");
        auto const said = support::read_file(files.path("err"));
        EXPECT_NE(said.find(reason), std::string::npos) << said;
        EXPECT_FALSE(std::filesystem::exists(files.path("adds_a_header")));
    }
    EXPECT_EQ(run_faulty(k_reader + "none --sequences 0"), 2);
    EXPECT_EQ(run_faulty(k_reader + "none --timeout 0"), 2);
}

TEST_F(contract, a_finding_says_what_was_called_and_how_to_repeat_it) {
    std::string const expected =
        "io/read/faulty/tests/1.0 breaks its contract with 'second_close_crashes':\n"
        "    open('second_close_crashes', 'r') gave 0\n"
        "    close() gave 0\n"
        "    close() gave a crash, by signal 6 (Aborted)\n"
        "expected: a return\n"
        "contract: an operation returns or raises an exception; it does not end or block the "
        "host\n"
        "repeat:   --seed ";
    EXPECT_EQ(run_faulty(k_reader + "second_close_crashes"), 1);
    auto const first = out();
    EXPECT_EQ(first.substr(0, expected.size()), expected);
    auto const repeat = first.substr(first.rfind("--seed"));
    EXPECT_EQ(run_faulty(k_reader + "second_close_crashes " + repeat.substr(0, repeat.size() - 1)),
              1);
    EXPECT_EQ(out(), first);
}

TEST_F(contract, a_crash_of_create_is_named) {
    EXPECT_EQ(run_faulty("io/read/crashing/tests/1.0 none"), 1);
    EXPECT_NE(out().find("    creation of an object gave a crash"), std::string::npos) << out();
}

TEST_F(contract, refuses_a_file_that_a_writer_would_change) {
    files.write("kept", "content");
    EXPECT_EQ(run_faulty(k_writer + "kept"), 2);
    EXPECT_EQ(support::read_file(files.path("kept")), "content");
}

TEST_F(contract, is_kept_by_the_bundled_plugins) {
    files.write("file", support::sample(70000));
    ASSERT_EQ(files.shell("split -b 9999 -d file part && (gzip -c file; gzip -c part01) >two.gz && "
                          "tar -czf a.tgz file part*"),
              0);
    for (std::string const tested :
         {"io/read/file/.* file", "io/read/gzip/.* two.gz", "io/read/sequence/.* 'part##'",
          "io/read/archive/.* 'archive:a.tgz!/part03'", "--browse io/browse/archive/.* a.tgz",
          "--write io/write/file/.* made", "--write io/write/gzip/.* made"}) {
        EXPECT_EQ(run(BUILT_PLUGIN_DIR, tested + " --sequences 50"), 0) << out();
    }
}

}  // namespace
