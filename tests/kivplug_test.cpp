// kivplug, run as its users run it.

#include <sys/stat.h>
#include <sys/wait.h>

#include <cstdlib>
#include <string>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <support/files.h>

namespace {

using nlohmann::json;

struct result {
    int status;
    std::string out;
    std::string err;
};

// Two plug-in directories of the build, whatever else is built beside them.
constexpr char const* k_small_path =
    "KIVPLUG_PATH='" BUILT_PLUGIN_DIR "/file:" BUILT_PLUGIN_DIR "/gzip'";

constexpr char const* k_bundled_path = "KIVPLUG_PATH='" BUILT_PLUGIN_DIR "'";

constexpr char const* k_sound = "'io/read/wav/kivcore/.*' sound.wav ";

// A native plug-in's description; the shared object, if there is one, is another matter.
std::string description(std::string const& key, std::string const& version, std::string const& name,
                        std::string const& create = "make") {
    return "<plugin id='p'><interface><category>io</category><type>read</type><key>" + key +
           "</key><flavor>native</flavor><bind function='create'>" + create +
           "</bind></interface><info><name>" + name + "</name><version>" + version +
           "</version><developer><name>D</name><id>d</id></developer></info></plugin>";
}

class kivplug : public ::testing::Test {
  protected:
    // Runs a command in the test's own directory.
    int shell(std::string const& command) const {
        std::string const there = "cd '" + files.path() + "' && " + command;
        return std::system(there.c_str());  // NOLINT(cert-env33-c): for the shell
    }

    // Runs the program there, as a shell does: the arguments may redirect, quote and go on
    // into a pipe.
    result run(std::string const& arguments, std::string const& environment = k_small_path) const {
        int const status =
            shell("(" + environment + " '" KIVPLUG "' " + arguments + ") >.out 2>.err");
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1,
                support::read_file(files.path(".out")), support::read_file(files.path(".err"))};
    }

    void describe(std::string const& directory, std::string const& content) const {
        files.write(directory + "/plugin.xml", content);
    }

    void expect_refused(std::string const& arguments, std::string const& message) const {
        auto const refused = run(arguments);
        EXPECT_EQ(refused.status, 1) << arguments;
        EXPECT_EQ(refused.out, "") << arguments;
        EXPECT_EQ(refused.err, "kivplug: " + message + "\n") << arguments;
    }

    result browse(std::string const& arguments) const {
        return run("browse 'io/browse/archive/.*' " + arguments, k_bundled_path);
    }

    // The program, watching the directory w, while the commands are run beside it.
    result watch(std::string const& arguments, std::string const& commands) const {
        std::filesystem::create_directory(files.path("w"));
        std::string const await =
            "await() { for i in $(seq 500); do grep -qs $1 $2 && return; sleep 0.02; done; }; ";
        std::string const noted = R"(sh -c 'echo $$ >.pid; exec "$0" "$@"')";
        return run(
            "watch 'io/monitor/watch/.*' w " + arguments,
            await + "(await watching .err; " + commands + ") & " + k_bundled_path + " " + noted);
    }

    bool exists(std::string const& name) const { return std::filesystem::exists(files.path(name)); }

    support::temporary_directory files;
};

TEST_F(kivplug, lists_ids_in_order_with_aligned_columns) {
    describe("plugins/old", description("k", "1.9", "Ol\xc3\xa9"));
    describe("plugins/new", description("k", "1.10", "New"));
    describe("plugins/bare",
             "<plugin><interface><category>a\n\x7f</category></interface></plugin>");
    EXPECT_EQ(run("-d plugins list").out,
              "a\\n\\x7f////       -       -\n"
              "io/read/k/d/1.10  native  New\n"
              "io/read/k/d/1.9   native  Ol\xc3\xa9\n");
    EXPECT_EQ(run("list 'io/.*9' --directory plugins").out,
              "io/read/k/d/1.9  native  Ol\xc3\xa9\n");
    expect_refused("list -d plugins 'io['",
                   "no id matches 'io[' as a whole; it must be a valid regular expression, and "
                   "'kivplug list' shows the ids");
}

TEST_F(kivplug, describes_every_key) {
    describe("p", description("k", "1.0", "Some name"));
    EXPECT_EQ(run("describe -d p 'io/read/.*'").out,
              "id:                    p\n"
              "info.developer.id:     d\n"
              "info.developer.name:   D\n"
              "info.name:             Some name\n"
              "info.version:          1.0\n"
              "interface.bind.create: make\n"
              "interface.category:    io\n"
              "interface.flavor:      native\n"
              "interface.key:         k\n"
              "interface.type:        read\n"
              "path:                  p\n");
    expect_refused("describe -d p io",
                   "no plug-in has the id 'io', or matches it as a pattern; 'kivplug list' shows "
                   "the ids");
}

TEST_F(kivplug, prints_json_that_holds_any_text) {
    describe("p", description("k", "1.0", "\"N\"\n&lt;"));
    EXPECT_EQ(
        json::parse(run("list --json -d p").out),
        json::parse(R"([{"id": "io/read/k/d/1.0", "flavor": "native", "name": "\"N\"\n<"}])"));
    auto const object = json::parse(run("describe --json -d p io/read/k/d/1.0").out);
    EXPECT_EQ(object.size(), 11U);
    EXPECT_EQ(object["info.name"], "\"N\"\n<");
    std::filesystem::create_directory(files.path("empty"));
    EXPECT_EQ(run("list --json -d empty").out, "[]\n");
}

TEST_F(kivplug, an_exact_id_goes_before_a_pattern) {
    describe("plugins/a", description(".", "1.0", "Dot"));
    describe("plugins/b", description("!", "1.0", "Sorted first"));
    EXPECT_EQ(json::parse(run("describe -d plugins --json io/read/./d/1.0").out)["info.name"],
              "Dot");
}

TEST_F(kivplug, keeps_notices_out_of_standard_output) {
    describe("a", description("k", "1.0", "First"));
    describe("b", description("k", "1.0", "Second"));
    auto const listed = run("-d a list -d b");
    EXPECT_EQ(listed.status, 0);
    EXPECT_EQ(listed.out, "io/read/k/d/1.0  native  First\n");
    EXPECT_EQ(listed.err,
              "Not inserting plugin io/read/k/d/1.0 in database (already present with native "
              "interface)\n");
}

TEST_F(kivplug, chooses_directories_by_option_then_environment_then_its_own) {
    describe("a", description("a", "1.0", "A"));
    describe("b", description("b", "1.0", "B"));
    EXPECT_EQ(run("list", "KIVPLUG_PATH=a::b").out,
              "io/read/a/d/1.0  native  A\nio/read/b/d/1.0  native  B\n");
    EXPECT_EQ(run("list -d b", "KIVPLUG_PATH=a").out, "io/read/b/d/1.0  native  B\n");
    EXPECT_EQ(run("list io/read/gzip/kivcore/.*", "KIVPLUG_PATH=").out,
              "io/read/gzip/kivcore/1.0  c-style  Gzip reader\n");
}

TEST_F(kivplug, refuses_directories_that_it_cannot_use) {
    std::string const advice = "; name a readable directory of plug-ins with -d";
    expect_refused("-d nowhere list",
                   "cannot open the directory 'nowhere', given with -d: No such file or "
                   "directory" +
                       advice);
    files.write("file", "");
    EXPECT_EQ(run("list", "KIVPLUG_PATH=file").err,
              "kivplug: cannot open the directory 'file', named in KIVPLUG_PATH: Not a directory" +
                  advice + "\n");
    describe("broken", "<plugin><info>");
    auto const broken = run("list -d broken");
    EXPECT_EQ(broken.status, 1);
    EXPECT_EQ(broken.out, "");
    EXPECT_NE(broken.err.find("kivplug: cannot load the plug-in directory 'broken', given with -d; "
                              "mend its plugin.xml, the line above says what is wrong\n"),
              std::string::npos);
}

TEST_F(kivplug, copies_through_a_writer_and_a_reader) {
    std::string content;
    for (int i = 0; content.size() < 700'000; ++i) {
        content += std::to_string(i) + " ";
    }
    files.write("in", content);
    EXPECT_EQ(run("write 'io/write/gz.*' made.gz -i in").status, 0);
    EXPECT_EQ(run("write io/write/gzip/kivcore/1.0 piped.gz --mode w9 <in").status, 0);
    EXPECT_EQ(run("read io/read/gzip/kivcore/1.0 made.gz").out, content);
    auto const to_file = run("read io/read/gzip/kivcore/1.0 piped.gz -o out");
    EXPECT_EQ(to_file.out + to_file.err, "");
    EXPECT_EQ(support::read_file(files.path("out")), content);
    EXPECT_EQ(run("read 'io/read/gz.*' made.gz -o /dev/stdout --offset 0300000 --count 299999").out,
              content.substr(300'000, 299'999));
    EXPECT_EQ(run("read io/read/file/kivcore/1.0 in --offset 699990 --count 1000").out,
              content.substr(699'990));
    auto const nothing = run("read io/read/file/kivcore/1.0 in --count 0");
    EXPECT_EQ(nothing.status, 0);
    EXPECT_EQ(nothing.out, "");
}

TEST_F(kivplug, says_which_verb_fits_an_id) {
    expect_refused("read io/write/gzip/kivcore/1.0 x",
                   "io/write/gzip/kivcore/1.0 is a writer, not a reader; use 'kivplug write'");
    expect_refused("write io/read/file/kivcore/1.0 x </dev/null",
                   "io/read/file/kivcore/1.0 is a reader, not a writer; use 'kivplug read'");
    struct {
        char const* arguments;
        char const* message;
    } const mixed_up[] = {
        {"read io/browse/zip/kivcore/1.0 x",
         "io/browse/zip/kivcore/1.0 is a browser, not a reader; use 'kivplug browse'"},
        {"browse io/monitor/watch/kivcore/1.0 x",
         "io/monitor/watch/kivcore/1.0 is a monitor, not a browser; use 'kivplug watch'"},
        {"frames io/read/sequence/kivcore/1.0 x --track 0",
         "io/read/sequence/kivcore/1.0 is a multi_file_reader, not a frame_reader; use 'kivplug "
         "files' or 'kivplug read'"},
        {"files io/read/flac/kivcore/1.0 x",
         "io/read/flac/kivcore/1.0 is a frame_reader, not a multi_file_reader; use 'kivplug "
         "tracks', 'kivplug frames' or 'kivplug read'"},
    };
    for (auto const& [arguments, message] : mixed_up) {
        auto const refused = run(arguments, k_bundled_path);
        EXPECT_EQ(refused.status, 1) << arguments;
        EXPECT_EQ(refused.err, "kivplug: " + std::string(message) + "\n") << arguments;
    }
}

TEST_F(kivplug, browses_an_archive_down_to_its_files) {
    files.write("in/docs/deep/b", "b");
    files.write("in/docs/a.txt", "some text");
    files.write("in/top", "top");
    ASSERT_EQ(shell("tar -C in -czf a.tgz docs top"), 0);
    EXPECT_EQ(browse("a.tgz").out, "docs/\ntop\n");
    EXPECT_EQ(browse("a.tgz --recursive").out, "docs/\ntop\ndocs/deep/\ndocs/a.txt\ndocs/deep/b\n");
    auto const listed = browse("a.tgz --long").out;
    EXPECT_NE(listed.find("\ntop    archive:a.tgz!/top    format: "), std::string::npos) << listed;
    auto const all = json::parse(browse("a.tgz --recursive --long --json").out);
    ASSERT_EQ(all.size(), 5U);
    EXPECT_EQ(all[0]["type"], "directory");
    EXPECT_EQ(all[3]["name"], "docs/a.txt");
    EXPECT_EQ(all[3]["info"]["size"], "9");
    std::string const url = all[3]["url"];
    EXPECT_EQ(run("read 'io/read/archive/.*' '" + url + "'", k_bundled_path).out, "some text");
    EXPECT_EQ(browse("in").err,
              "kivplug: io/browse/archive/kivcore/1.0: there is nothing to browse at 'in'; check "
              "that it is there, intact and of the kind that this plug-in browses\n");
    EXPECT_EQ(browse("").err,
              "kivplug: io/browse/archive/kivcore/1.0 has no place of its own to start from; give "
              "a PATH\n");
}

TEST_F(kivplug, a_tree_without_an_end_is_given_up) {
    files.write("f", "");
    for (int const depth : {3000, 5000}) {
        std::string const transform =
            "s,^,$(printf 'a/%.0s' $(seq " + std::to_string(depth) + ")),";
        ASSERT_EQ(shell("tar -cf deep.tar --transform \"" + transform + "\" f"), 0);
        auto const walked = browse("deep.tar --recursive");
        EXPECT_EQ(walked.status, depth == 3000 ? 0 : 1);
        EXPECT_EQ(walked.err.find(": directories lie more than 4096 deep at ") != std::string::npos,
                  depth == 5000);
    }
}

TEST_F(kivplug, shows_tracks_and_copies_their_frames) {
    std::string samples;  // 3000 of 16 bits: two frames of 1024 and the rest
    for (int i = 0; i < 6000; ++i) {
        samples += static_cast<char>(i * 7 % 251);
    }
    using namespace std::string_literals;
    files.write("sound.wav",
                "RIFF\x94\x17\0\0WAVEfmt \x10\0\0\0\1\0\1\0\x40\x1f\0\0\x80\x3e\0\0"
                "\2\0\x10\0data\x70\x17\0\0"s +
                    samples);
    auto const shown = run("tracks "s + k_sound, k_bundled_path).out;
    EXPECT_EQ(shown.find("track 0\n    Media Type                  : Audio\n"), 0U) << shown;
    auto const tracks = json::parse(run("tracks --json "s + k_sound, k_bundled_path).out);
    ASSERT_EQ(tracks.size(), 1U);
    EXPECT_EQ(tracks[0]["description"]["Number of Frames"], "3");
    auto const frames = "frames "s + k_sound + "--track 0 ";
    EXPECT_EQ(run(frames, k_bundled_path).out, samples);
    EXPECT_EQ(run(frames + "--from 1 --count 1 -o out", k_bundled_path).out, "");
    EXPECT_EQ(support::read_file(files.path("out")), samples.substr(2048, 2048));
    auto const beyond = run(frames + "--from 9 -o beyond", k_bundled_path);
    EXPECT_EQ(beyond.err,
              "kivplug: io/read/wav/kivcore/1.0: seek_frame of 'sound.wav' failed: result -22 "
              "(Invalid argument); give a --from inside the track, 'kivplug tracks' shows how many "
              "frames it has\n");
    EXPECT_FALSE(exists("beyond"));
    EXPECT_EQ(run("frames "s + k_sound + "--track 1", k_bundled_path).err,
              "kivplug: io/read/wav/kivcore/1.0: select_track of 'sound.wav' failed: there is no "
              "track 1 among the 1, which are counted from 0; 'kivplug tracks' shows them\n");
}

TEST_F(kivplug, lists_joined_files_with_printable_names) {
    // NOLINTNEXTLINE(misc-misleading-bidirectional): it is what the test is about
    std::string const name = "a\x1b\xc2\x9b\xe2\x80\xae\xff\xc3\xa9.";
    files.write(name + "08", "eight");
    files.write(name + "09", "0123456789");
    std::string const files_of = "files 'io/read/sequence/.*' '" + name + "##'";
    EXPECT_EQ(run(files_of, k_bundled_path).out,
              "0  5   a\\x1b\\xc2\\x9b\\xe2\\x80\\xae\\xff\xc3\xa9.08\n"
              "1  10  a\\x1b\\xc2\\x9b\\xe2\\x80\\xae\\xff\xc3\xa9.09\n");
    auto const listed = json::parse(run(files_of + " --json", k_bundled_path).out);
    EXPECT_EQ(listed[1]["size"], 10);
}

TEST_F(kivplug, watches_until_a_signal_or_the_end_of_what_is_watched) {
    for (std::string const signal : {"INT", "TERM"}) {
        auto const watched =
            watch("--json", "touch w/a; await created .out; kill -" + signal + " $(cat .pid)");
        EXPECT_EQ(watched.status, 0);
        EXPECT_EQ(json::parse(watched.out), json({{"event", "created"}, {"path", "w/a"}}));
        std::filesystem::remove_all(files.path("w"));
    }
    auto const gone = watch("", "mkdir w/b; await created .out; rm -r w");
    EXPECT_EQ(gone.status, 0);
    EXPECT_EQ(gone.out, "created w/b\nremoved w/b\nterminated w\n");
    EXPECT_EQ(gone.err, "kivplug: watching 'w' until interrupted\n");
    EXPECT_EQ(run("watch 'io/monitor/watch/.*' w", k_bundled_path).err,
              "kivplug: io/monitor/watch/kivcore/1.0: start of 'w' failed: result -2 (No such file "
              "or directory); check that it is there and of the kind that this plug-in watches\n");
}

TEST_F(kivplug, opens_no_shared_object_that_would_end_or_block_it) {
    describe("p", description("k", "1.0", "Cut", "native_create"));
    auto const whole = support::read_file(TEST_PLUGIN_DIR "/native/darwin/x86/plugin.so");
    std::string const image = "p/darwin/x86/plugin.so";
    std::string const read = "read -d p io/read/k/d/1.0 x";
    std::string const start = "no object of io/read/k/d/1.0 can be made: '" + image + "' ";
    for (std::size_t const size :
         {std::size_t{0}, std::size_t{10}, std::size_t{60}, std::size_t{4096}, whole.size() - 1}) {
        files.write(image, whole.substr(0, size));
        expect_refused(read, start + "is cut short; copy it again, whole");
    }
    std::string const advice = "; put the plug-in's shared object there";
    files.write(image, "#!/bin/sh\nexec true\n");
    expect_refused(read, start + "is no ELF file" + advice);
    std::filesystem::remove(files.path(image));
    ASSERT_EQ(mkfifo(files.path(image).c_str(), 0600), 0);
    expect_refused(read, start + "is no regular file" + advice);
    std::filesystem::remove(files.path(image));
    files.write(image, whole);
    EXPECT_EQ(run(read).out, "native text");
}

TEST_F(kivplug, names_the_directory_of_a_plugin_that_cannot_be_made) {
    describe("p", description("k", "1.0", "Nothing behind it"));
    auto const failed = run("read -d p io/read/k/d/1.0 x -o out");
    EXPECT_EQ(failed.status, 1);
    EXPECT_EQ(failed.err.find("kivplug: no object of io/read/k/d/1.0 can be made from 'p': "), 0U);
    EXPECT_EQ(failed.err.find('\n'), failed.err.size() - 1);
    EXPECT_FALSE(exists("out"));
    std::filesystem::create_directories(files.path("p/darwin/x86"));
    std::filesystem::create_symlink(TEST_PLUGIN_DIR "/native/darwin/x86/plugin.so",
                                    files.path("p/darwin/x86/plugin.so"));
    describe("p", description("k", "1.0", "Throws", "native_create_throwing"));
    expect_refused("read -d p io/read/k/d/1.0 x",
                   "no object of io/read/k/d/1.0 can be made from 'p': the device is busy; check "
                   "darwin/x86/plugin.so and the bindings in plugin.xml there");
    describe("q", "<plugin><interface><category>a</category></interface></plugin>");
    expect_refused("read -d q a//// x",
                   "a//// makes no objects; check the flavor, category and type in "
                   "'q/plugin.xml'");
}

TEST_F(kivplug, leaves_the_output_alone_until_the_input_is_open) {
    files.write("kept", "kept");
    auto const unread = run("read io/read/gzip/kivcore/1.0 kept -o other");
    EXPECT_EQ(unread.status, 1);
    EXPECT_EQ(unread.err.find("kivplug: io/read/gzip/kivcore/1.0: open of 'kept' failed: result -"),
              0U);
    EXPECT_FALSE(exists("other"));
    std::string const write = "write io/write/file/kivcore/1.0 kept ";
    expect_refused(write + "-i nowhere",
                   "cannot read 'nowhere': No such file or directory; give another input with -i");
    expect_refused(write + "-i .", "cannot read '.': Is a directory; give another input with -i");
    expect_refused(write + "<&-",
                   "cannot read standard input: Bad file descriptor; give another input with -i");
    expect_refused(write + "-i ./kept",
                   "'./kept' and 'kept' are the same file; give another one with -i");
    expect_refused("read io/read/file/kivcore/1.0 kept -o ./kept",
                   "'kept' and './kept' are the same file; give another one with -o");
    EXPECT_EQ(support::read_file(files.path("kept")), "kept");
}

TEST_F(kivplug, says_what_a_failed_read_leaves) {
    files.write("in", std::string(100'000, 'x'));
    ASSERT_EQ(run("write io/write/gzip/kivcore/1.0 whole.gz -i in").status, 0);
    auto const whole = support::read_file(files.path("whole.gz"));
    files.write("cut.gz", whole.substr(0, whole.size() - 4));
    auto const cut = run("read io/read/gzip/kivcore/1.0 cut.gz -o out");
    EXPECT_EQ(cut.status, 1);
    EXPECT_NE(
        cut.err.find("; 'out' holds only the first " +
                     std::to_string(support::read_file(files.path("out")).size()) + " bytes\n"),
        std::string::npos)
        << cut.err;
}

TEST_F(kivplug, notices_output_that_cannot_be_written) {
    std::string const full = ": No space left on device; make room or give another output";
    expect_refused("list >/dev/full", "cannot write standard output" + full);
    expect_refused("--help >/dev/full", "cannot write standard output" + full);
    files.write("in", std::string(700'000, 'x'));
    expect_refused(
        "read io/read/file/kivcore/1.0 in -o /dev/full",
        "cannot write '/dev/full'" + full + "; '/dev/full' holds only the first 0 bytes");
    auto const piped = run("read io/read/file/kivcore/1.0 in | head -c 3");
    EXPECT_EQ(piped.out, "xxx");
    EXPECT_EQ(piped.err, "");
    EXPECT_EQ(run("write io/write/gzip/kivcore/1.0 /dev/full -i in").status, 1);
}

TEST_F(kivplug, tells_misuse_from_failure) {
    for (auto const* const wrong :
         {"", "frobnicate", "list --nope", "list a b", "read io/read/file/kivcore/1.0", "list -d",
          "read a b --offset -1", "read a b --count 1k", "read a b --count 9999999999999999999"}) {
        auto const refused = run(wrong);
        EXPECT_EQ(refused.status, 2) << wrong;
        EXPECT_EQ(refused.out, "") << wrong;
        EXPECT_EQ(refused.err.find("kivplug: "), 0U) << wrong;
        EXPECT_NE(refused.err.find("\nUsage: kivplug"), std::string::npos) << wrong;
    }
    EXPECT_EQ(run("frobnicate").err.find("kivplug: 'frobnicate' is not a verb of kivplug\n"), 0U);
    for (auto const* const asked : {"--help", "read --help", "--version"}) {
        auto const shown = run(asked);
        EXPECT_EQ(shown.status, 0) << asked;
        EXPECT_NE(shown.out.find("kivplug"), std::string::npos) << asked;
        EXPECT_EQ(shown.err, "") << asked;
    }
}

}  // namespace
