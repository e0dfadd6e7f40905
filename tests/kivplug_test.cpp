// kivplug, run as its users run it.

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
    // Runs the program in the test's own directory, as a shell does: the arguments may
    // redirect, quote and go on into a pipe.
    result run(std::string const& arguments, std::string const& environment = k_small_path) const {
        std::string const command = "cd '" + files.path() + "' && (" + environment + " '" KIVPLUG +
                                    "' " + arguments + ") >.out 2>.err";
        int const status = std::system(command.c_str());  // NOLINT(cert-env33-c): for the shell
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
