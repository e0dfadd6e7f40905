// Runs kivplug as its users do.

#include <elf.h>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <utility>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <support/files.h>

namespace {

using nlohmann::json;
using namespace std::string_literals;

struct result {
    int status;
    std::string out;
    std::string err;
};

// The plug-ins to use unless a test names others.
constexpr char const* k_bundled_path = "KIVPLUG_PATH='" BUILT_PLUGIN_DIR "'";

constexpr char const* k_sound = "'io/read/wav/kivcore/.*' sound.wav ";

// A native plug-in's description, without a shared object.
std::string description(std::string const& key, std::string const& version, std::string const& name,
                        std::string const& create = "make") {
    return "<plugin id='p'><interface><category>io</category><type>read</type><key>" + key +
           "</key><flavor>native</flavor><bind function='create'>" + create +
           "</bind></interface><info><name>" + name + "</name><version>" + version +
           "</version><developer><name>D</name><id>d</id></developer></info></plugin>";
}

class kivplug : public ::testing::Test {
  protected:
    // Runs the program through a shell in the test's directory: the arguments may redirect, quote
    // and continue with a pipe.
    result run(std::string const& arguments,
               std::string const& environment = k_bundled_path) const {
        int const status =
            files.shell("(" + environment + " '" KIVPLUG "' " + arguments + ") >.out 2>.err");
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1,
                support::read_file(files.path(".out")), support::read_file(files.path(".err"))};
    }

    void describe(std::string const& directory, std::string const& content) const {
        files.write(directory + "/plugin.xml", content);
    }

    // Makes the directory p: the plug-in of tests/fixtures/native with that create function.
    void describe_native(std::string const& create) const {
        ASSERT_EQ(files.shell("mkdir -p p && cp -r '" TEST_PLUGIN_DIR "/native/darwin' p"), 0);
        describe("p", description("k", "1.0", "Native", create));
    }

    void expect_refused(std::string const& arguments, std::string const& message,
                        std::string const& environment = k_bundled_path) const {
        auto const refused = run(arguments, environment);
        EXPECT_EQ(refused.status, 1) << arguments;
        EXPECT_EQ(refused.out, "") << arguments;
        EXPECT_EQ(refused.err, "kivplug: " + message + "\n") << arguments;
    }

    std::string browse(std::string const& arguments) const {
        return run("browse 'io/browse/archive/.*' " + arguments).out;
    }

    // Runs the program to watch the directory w, and the commands at the same time.
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

TEST_F(kivplug, lists_and_describes_plugins) {
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
    EXPECT_EQ(run("describe -d plugins 'a\\s.*'").out,
              "interface.category: a\\n\\x7f\n"
              "path:               plugins/bare\n");
    describe("plugins/faulty", "<plugin><interface><bind>f</bind></interface></plugin>");
    auto const others = run("-d plugins list io/.*10");
    EXPECT_EQ(others.status, 1);
    EXPECT_EQ(others.out, "io/read/k/d/1.10  native  New\n");
    EXPECT_EQ(others.err,
              "kivplug: 'plugins/faulty' did not load whole: xml parse: failed to read 'function' "
              "attribute of 'bind'; fix its plugin.xml\n");
    EXPECT_EQ(run("-d plugins describe io/.*10").status, 0);
    std::filesystem::remove_all(files.path("plugins/faulty"));
    expect_refused("list -d plugins 'io['",
                   "no id matches 'io[' as a whole; it must be a valid regular expression, and "
                   "'kivplug list' shows the ids");
    expect_refused("describe -d plugins io",
                   "no plug-in has the id 'io', or matches it as a pattern; 'kivplug list' shows "
                   "the ids");
}

TEST_F(kivplug, prints_valid_json_for_any_text) {
    describe("p", description("k", "1.0", "\"N\"\n&lt;"));
    describe("p2/first", description("!", "1.0", "Sorted first"));
    describe("p2/exact", description(".", "1.0", "An exact id takes precedence"));
    std::filesystem::create_directory(files.path("empty"));
    EXPECT_EQ(json::parse(run("list --json -d p").out),
              json::parse(R"([{"id": "io/read/k/d/1.0", "kind": "reader", "flavor": "native",
                         "version": "1.0", "name": "\"N\"\n<", "path": "p"}])"));
    auto const object = json::parse(run("describe --json -d p2 io/read/./d/1.0").out);
    EXPECT_EQ(object.size(), 11U);
    EXPECT_EQ(object["info.name"], "An exact id takes precedence");
    EXPECT_EQ(run("list --json -d empty").out, "[]\n");
}

TEST_F(kivplug, uses_the_directories_of_the_option_the_environment_or_the_installation) {
    describe("a", description("k&#x9b;", "1.0", "A"));
    describe("b", description("k&#x9b;", "2.0", "B"));
    describe("c", description("k&#x9b;", "1.0", "C"));
    EXPECT_EQ(run("list", "KIVPLUG_PATH=a::b").out,
              "io/read/k\\xc2\\x9b/d/2.0  native  B\nio/read/k\\xc2\\x9b/d/1.0  native  A\n");
    EXPECT_EQ(run("list io/read/gzip/kivcore/.*", "KIVPLUG_PATH=").out,
              "io/read/gzip/kivcore/1.0  c-style  Gzip reader\n");
    auto const twice = run("-d a list -d c", "KIVPLUG_PATH=b");
    EXPECT_EQ(twice.status, 0);
    EXPECT_EQ(twice.out, "io/read/k\\xc2\\x9b/d/1.0  native  A\n");
    EXPECT_EQ(
        twice.err,
        "kivplug: 'c' is not registered as io/read/k\\xc2\\x9b/d/1.0, which 'a' already is; remove "
        "one of them, or change its id\n");
}

TEST_F(kivplug, explains_what_became_of_an_id) {
    describe("d/a", description("k", "1.0", "A"));
    describe("d/.hidden", description("h", "1.0", "Hidden"));
    describe("d/broken", description("b", "1.0", "Broken") + "<");
    describe("c", description("j|k|l", "1.0", "C"));
    auto const why = [&](std::string const& id) { return run("why -d d -d c " + id); };
    std::pair<std::string, std::string> const answers[] = {
        {"io/read/k/d/1.0",
         "io/read/k/d/1.0 is registered, from 'd/a'\n  'c' was refused it, because 'd/a' had it: "
         "already present with native interface\n"},
        {"io/read/l/d/1.0",
         "  'c' was refused it: an id before it in the same plug-in was refused\n"},
        {"io/read/k/d/2.0",
         "  near it: io/read/k/d/1.0, from 'd/a': its version is '1.0', not '2.0'\n    KIV300 "},
        {"io/read/h/d/1.0", "  'd/.hidden' has io/read/h/d/1.0, but is not loaded, see above\n"},
        {"'.*/h/.*'", "  'd/.hidden' has io/read/h/d/1.0, but is not loaded, see above\n"},
        {"'.*/l/.*'", "  io/read/l/d/1.0:\n  'c' was refused it: an id before it"},
        {"io/read/b/d/1.0", "  'd/broken' is not loaded, see above\n"},
        {"io/read", "an id has five fields, CATEGORY/TYPE/KEY/DEVELOPER/VERSION; this has 2\n"},
    };
    for (auto const& [id, answer] : answers) {
        auto const explained = why(id);
        EXPECT_EQ(explained.status, 1) << id;
        EXPECT_NE(explained.out.find(answer), std::string::npos) << explained.out;
    }
    auto const sound = run("why io/read/gzip/kivcore/1.0");
    EXPECT_EQ(sound.status, 0);
    EXPECT_NE(sound.out.find("  its objects can be created\n"), std::string::npos) << sound.out;
}

TEST_F(kivplug, says_why_a_directory_does_not_load) {
    describe("good", description("k", "1.0", "Good"));
    struct {
        char const* directory;
        char const* made_by;
        char const* message;
    } const broken[] = {
        {"no", "true",
         "cannot open the directory 'no', given with -d: No such file or directory; name a "
         "readable directory of plug-ins with -d"},
        {"file", "touch file",
         "cannot open the directory 'file', given with -d: Not a directory; name a readable "
         "directory of plug-ins with -d"},
        {"c1", "mkdir -p c1/x",
         "'c1/x' has no plugin.xml; put the description there, or take "
         "the directory away"},
        {"c2", "mkdir -p c2/p/x && cp good/plugin.xml c2/p/x",
         "'c2/p' has no plugin.xml, but directories in it have one; name it with -d"},
        {"c3", "mkdir -p c3/x && ln -s x c3/x/plugin.xml",
         "cannot read 'c3/x/plugin.xml', a link to a file that is not there; put a readable "
         "description there"},
        {"c5", "mkdir c5 && ln -s /dev/null c5/README",
         "'c5/README' is a link to a file, not to a plug-in directory: remove it or move it away"},
        {"c6", "mkdir c6 && ln -s nowhere c6/lk",
         "'c6/lk' is a link to 'nowhere', which is not there: repair or remove it"},
        {"loop", "mkdir loop && ln -s plugin.xml loop/plugin.xml",
         "cannot read 'loop/plugin.xml': Too many levels of symbolic links; put a readable "
         "description there"},
        {"fifo", "mkdir fifo && mkfifo fifo/plugin.xml",
         "'fifo/plugin.xml' is not a regular file; put the description there"},
        {"empty", "mkdir empty && touch empty/plugin.xml",
         "'empty/plugin.xml' is empty; put the description there"},
        {"c4", "mkdir -p c4/x && touch c4/x/Plugin.xml",
         "'c4/x' has 'Plugin.xml' in the place of plugin.xml; rename it"},
        {"case", "mkdir case && touch case/PLUGIN.XML",
         "'case' has 'PLUGIN.XML' in the place of plugin.xml; rename it"},
        {"bare", "mkdir -p bare/darwin/x86 && touch bare/darwin/x86/plugin.so",
         "'bare' has no plugin.xml; put the description there, or take the directory away"},
        {"good/darwin/x86", "mkdir -p good/darwin/x86",
         "'good/darwin/x86' is a part of the plug-in directory 'good/'; name that one with -d"},
    };
    for (auto const& row : broken) {
        ASSERT_EQ(files.shell(row.made_by), 0);
        auto const others = run("list -d "s + row.directory + " -d good");
        EXPECT_EQ(others.status, 1) << row.directory;
        EXPECT_EQ(others.out, "io/read/k/d/1.0  native  Good\n") << row.directory;
        EXPECT_EQ(others.err, "kivplug: "s + row.message + "\n");
    }
    expect_refused("list",
                   "cannot open the directory 'no', named in KIVPLUG_PATH: No such file or "
                   "directory; name a readable directory of plug-ins with -d",
                   "KIVPLUG_PATH=no");
}

TEST_F(kivplug, copies_through_a_writer_and_a_reader) {
    std::string const content = support::sample(700'000);
    files.write("in", content);
    EXPECT_EQ(run("write 'io/write/gz.*' made.gz -i in").status, 0);
    EXPECT_EQ(run("write io/write/gzip/kivcore/1.0 piped.gz --mode w9 <in").status, 0);
    auto const to_file = run("read io/read/gzip/kivcore/1.0 piped.gz -o out");
    EXPECT_EQ(to_file.out + to_file.err, "");
    EXPECT_EQ(support::read_file(files.path("out")), content);
    auto const read = "read 'io/read/gz.*' made.gz "s;
    EXPECT_EQ(run(read).out, content);
    EXPECT_EQ(run(read + "-o /dev/fd/1 --offset 0300000 --count 299999").out,
              content.substr(300'000, 299'999));
    EXPECT_EQ(run(read + "--offset 699990 --count 1000").out, content.substr(699'990));
    EXPECT_EQ(run(read + "--count 0").out, "");
}

TEST_F(kivplug, says_which_verb_fits_an_id) {
    struct {
        char const* verb;
        char const* id;
        char const* message;
    } const mixed_up[] = {
        {"read", "io/write/gzip", "is a writer, not a reader; use 'kivplug write'"},
        {"write", "io/read/file", "is a reader, not a writer; use 'kivplug read'"},
        {"read", "io/browse/zip", "is a browser, not a reader; use 'kivplug browse'"},
        {"browse", "io/monitor/watch", "is a monitor, not a browser; use 'kivplug watch'"},
        {"frames --track 0", "io/read/sequence",
         "is a multi_file_reader, not a frame_reader; use 'kivplug files' or 'kivplug read'"},
        {"files", "io/read/flac",
         "is a frame_reader, not a multi_file_reader; use 'kivplug tracks', 'kivplug frames' or "
         "'kivplug read'"},
    };
    for (auto const& row : mixed_up) {
        std::string const id = row.id + "/kivcore/1.0"s;
        expect_refused(row.verb + (" " + id) + " x </dev/null", id + " " + row.message);
    }
}

TEST_F(kivplug, browses_an_archive_down_to_its_files) {
    files.write("in/docs/deep/b", "b");
    files.write("in/docs/a.txt", "some text");
    files.write("in/top", "top");
    ASSERT_EQ(files.shell("tar -C in -czf a.tgz docs top"), 0);
    EXPECT_EQ(browse("a.tgz --recursive"), "docs/\ntop\ndocs/deep/\ndocs/a.txt\ndocs/deep/b\n");
    auto const listed = browse("a.tgz --long");
    EXPECT_NE(listed.find("\ntop    archive:a.tgz!/top    format: "), std::string::npos) << listed;
    auto const all = json::parse(browse("a.tgz --recursive --long --json"));
    EXPECT_EQ(all[0]["type"], "directory");
    EXPECT_EQ(all[3]["name"], "docs/a.txt");
    EXPECT_EQ(all[3]["info"]["size"], "9");
    std::string const url = all[3]["url"];
    EXPECT_EQ(run("read 'io/read/archive/.*' '" + url + "'").out, "some text");
    std::string const id = "io/browse/archive/kivcore/1.0";
    ASSERT_EQ(files.shell("tar -C in -cf a.tar docs top && head -c 1200 a.tar >cut.tar"), 0);
    auto const cut = run("browse " + id + " cut.tar --json");
    EXPECT_EQ(cut.status, 1);
    EXPECT_EQ(json::parse(cut.out).size(), 1U);
    EXPECT_EQ(cut.err,
              "kivplug: 'cut.tar' is not listed whole: Truncated tar archive; get a whole copy\n");
    auto const below = run("browse " + id + " 'archive:cut.tar!/docs/'").err;
    EXPECT_EQ(below.find("kivplug: 'archive:cut.tar!/docs/' is not listed whole: "), 0U) << below;
    expect_refused("browse " + id + " in",
                   id + ": there is nothing to browse at 'in'; check that it is there, intact and "
                        "of the kind that this plug-in browses");
    expect_refused("browse " + id, id + " has no place of its own to start from; give a PATH");
}

TEST_F(kivplug, gives_up_on_an_endless_tree) {
    std::string const deeper = "\"s,^,$(printf 'a/%.0s' $(seq 5000)),\"";
    ASSERT_EQ(files.shell("touch f && tar -cf d.tar --transform " + deeper + " f"), 0);
    auto const walked = run("browse 'io/browse/archive/.*' d.tar --recursive --json");
    EXPECT_EQ(walked.status, 1);
    EXPECT_TRUE(json::accept(walked.out));
    EXPECT_NE(walked.err.find(": directories lie more than 4096 deep at "), std::string::npos);
    ASSERT_EQ(files.shell("tar -cf d.tar --transform \"s,^,$(printf 'a/%.0s' $(seq 6000)),\" f"),
              0);
    expect_refused("browse io/browse/archive/kivcore/1.0 d.tar",
                   "'d.tar' is not listed whole: the paths of its directories are too long: 1 of 1 "
                   "entries are not listed; this is a limit of the plug-in, see its plugin.xml");
}

TEST_F(kivplug, shows_tracks_and_copies_their_frames) {
    std::string const samples =
        support::sample(6000);  // two frames of 1024 samples and a shorter one
    files.write("sound.wav",
                "RIFF\x94\x17\0\0WAVEfmt \x10\0\0\0\1\0\1\0\x40\x1f\0\0\x80\x3e\0\0"
                "\2\0\x10\0data\x70\x17\0\0"s +
                    samples);
    EXPECT_EQ(run("tracks "s + k_sound).out.find("track 0\n    Media Type                  : "),
              0U);
    auto const tracks = json::parse(run("tracks --json "s + k_sound).out);
    ASSERT_EQ(tracks.size(), 1U);
    EXPECT_EQ(tracks[0]["description"]["Number of Frames"], "3");
    auto const frames = "frames "s + k_sound + "--track ";
    EXPECT_EQ(run(frames + "0").out, samples);
    EXPECT_EQ(run(frames + "0 --from 1 --count 1 -o out").out, "");
    EXPECT_EQ(support::read_file(files.path("out")), samples.substr(2048, 2048));
    expect_refused(frames + "0 --from 9 -o beyond",
                   "io/read/wav/kivcore/1.0: seek_frame of 'sound.wav' failed: result -22 (Invalid "
                   "argument); give a --from inside the track, 'kivplug tracks' shows how many "
                   "frames it has");
    EXPECT_FALSE(exists("beyond"));
    expect_refused(frames + "1",
                   "io/read/wav/kivcore/1.0: select_track of 'sound.wav' failed: there is no track "
                   "1 among the 1, which are counted from 0; 'kivplug tracks' shows them");
}

TEST_F(kivplug, lists_joined_files_with_printable_names) {
    std::string const name =
        // NOLINTNEXTLINE(misc-misleading-bidirectional): it is what the test is about
        "a\x1b\xc2\x9b\xe2\x80\xae\xd8\x9c\xed\xa0\x80\xf4\x90\x80\x80\xff\xc3\xa9.";
    files.write(name + "08", "eight");
    files.write(name + "09", "0123456789");
    std::string const files_of = "files 'io/read/sequence/.*' '" + name + "##'";
    EXPECT_EQ(run(files_of).out,
              "0  5   "
              "a\\x1b\\xc2\\x9b\\xe2\\x80\\xae\\xd8\\x9c\\xed\\xa0\\x80\\xf4\\x90\\x80\\x80\\xff"
              "\xc3\xa9.08\n"
              "1  10  "
              "a\\x1b\\xc2\\x9b\\xe2\\x80\\xae\\xd8\\x9c\\xed\\xa0\\x80\\xf4\\x90\\x80\\x80\\xff"
              "\xc3\xa9.09\n");
    auto const as_json = run(files_of + " --json").out;
    EXPECT_EQ(json::parse(as_json)[1]["size"], 10);
    std::string const shown =
        "a\\u001b\\u009b\\u202e\\u061c\xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbd"
        "\xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbd\xc3\xa9.08";
    EXPECT_NE(as_json.find("\"" + shown + "\""), std::string::npos) << as_json;
}

TEST_F(kivplug, watches_until_a_signal_or_the_removal_of_the_directory) {
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
    expect_refused("watch 'io/monitor/watch/.*' w",
                   "io/monitor/watch/kivcore/1.0: start of 'w' failed: result -2 (No such file or "
                   "directory); check that it is there and of the kind that this plug-in watches");
}

TEST_F(kivplug, shows_what_a_monitor_logs_without_control_characters) {
    describe_native("native_create_monitor");
    auto const watched = run("watch -d p io/read/k/d/1.0 x");
    EXPECT_EQ(watched.out, "terminated x\n");
    EXPECT_EQ(watched.err,
              "<WARNING> \\x1b[31mloss of x\nkivplug: watching 'x' until interrupted\n");
}

TEST_F(kivplug, does_not_open_a_shared_object_that_would_crash_or_block_it) {
    describe("p", description("k", "1.0", "Cut", "native_create"));
    auto const whole = support::read_file(TEST_PLUGIN_DIR "/native/darwin/x86/plugin.so");
    std::string const image = "p/darwin/x86/plugin.so";
    std::string const read = "read -d p io/read/k/d/1.0 x";
    std::string const start = "no object of io/read/k/d/1.0 can be made: '" + image + "' is ";
    std::string const advice = "; put the plug-in's shared object there";
    for (std::size_t const missing :
         {whole.size() - 3, whole.size() - 60, whole.size() - 4096, std::size_t{1}}) {
        files.write(image, whole.substr(0, whole.size() - missing));
        expect_refused(read, start + "cut short; copy it again, whole");
    }
    files.write(image, "");
    expect_refused(read, start + "empty; copy it again, whole");
    files.write(image, "text\n");
    expect_refused(read, start + "not an ELF file" + advice);
    auto foreign = whole;
    foreign.replace(EI_NIDENT + sizeof(Elf64_Half), 2, "\xf3\0"s);
    files.write(image, foreign);
    auto const refused = run(read).err;
    EXPECT_EQ(refused.find("kivplug: " + start + "built for RISC-V (e_machine 243, "), 0U)
        << refused;
    ASSERT_EQ(files.shell("rm " + image + " && mkfifo " + image), 0);
    expect_refused(read, start + "not a regular file" + advice);
    ASSERT_EQ(files.shell("rm " + image), 0);
    files.write(image, whole);
    EXPECT_EQ(run(read).out, "native text");
}

TEST_F(kivplug, says_why_an_object_cannot_be_created) {
    std::string const start = "no object of io/read/k/d/1.0 can be made from 'p': ";
    std::string const advice = "; check darwin/x86/plugin.so and the bindings in plugin.xml there";
    std::pair<std::string, std::string> const broken[] = {
        {"native_create_throwing", start + "the device is busy" + advice},
        {"native_create_throwing_number",
         start + "its create function threw something that is not an exception of the standard "
                 "library; the plug-in is faulty, report it to its developer"},
        {"native_create_throwing_silently", start + "exception without a text" + advice},
        {"nowhere", start + "couldn't find create function in binary image" + advice},
        {"native_create_nothing",
         start + "its function 'native_create_nothing' returned null; ask its developer why"},
    };
    for (auto const& [function, message] : broken) {
        describe_native(function);
        expect_refused("read -d p io/read/k/d/1.0 x -o out", message);
    }
    EXPECT_FALSE(exists("out"));
    describe_native("native_create_false_writer");
    expect_refused("write -d p io/read/k/d/1.0 x </dev/null",
                   "io/read/k/d/1.0 calls itself 'writer', but is a reader; the plug-in is "
                   "faulty, report it to its developer");
    describe("q", "<plugin><interface><category>a</category></interface></plugin>");
    expect_refused("read -d q a//// x",
                   "a//// makes no objects: nothing serves the flavor '', category 'a' and type "
                   "''; in 'q/plugin.xml', use the flavor native, or c-style with io and read or "
                   "write");
}

TEST_F(kivplug, gives_advice_that_fits_the_failure) {
    describe_native("native_create_failing_reader");
    std::pair<std::string, std::string> const failing[] = {
        {"x",
         "read of 'x' after 0 bytes failed: result -95 (Operation not supported); the plug-in "
         "does not support what is in the file; 'out' holds only the first 0 bytes"},
        {"throw",
         "read of 'throw' after 0 bytes failed: read threw something that is not an "
         "exception of the standard library; the plug-in is faulty, report it to its "
         "developer; 'out' holds only the first 0 bytes"},
        {"x --mode q",
         "open of 'x' failed: result -22 (Invalid argument); check the path or "
         "pattern and the mode, and see any message above"},
    };
    for (auto const& [arguments, message] : failing) {
        expect_refused("read -d p io/read/k/d/1.0 -o out " + arguments,
                       "io/read/k/d/1.0: " + message);
    }
}

TEST_F(kivplug, does_not_touch_the_output_until_the_input_is_open) {
    files.write("kept", "kept");
    std::string const read = "read io/read/file/kivcore/1.0 ";
    std::string const write = "write io/write/file/kivcore/1.0 kept ";
    std::string const input = "; give another input with -i";
    std::string const own = ": it is what is ";
    std::string const taken = own + "read; give another output with -o";
    std::pair<std::string, std::string> const refused[] = {
        {read + "nowhere -o kept",
         "io/read/file/kivcore/1.0: open of 'nowhere' failed: result -2 (No such file or "
         "directory); check that it is there and of the kind that this plug-in reads, and the "
         "mode 'r'"},
        {write + "-i nowhere", "cannot read 'nowhere': No such file or directory" + input},
        {write + "-i .", "cannot read '.': Is a directory" + input},
        {write + "<&-", "cannot read standard input: Bad file descriptor" + input},
        {write + "-i ./kept", "cannot read './kept'" + own + "to be written" + input},
        {write + "<kept", "cannot read standard input" + own + "to be written" + input},
        {read + "kept -o ./kept", "cannot write './kept'" + taken},
        {"read 'io/read/sequence/.*' 'kep%d' -o kep1", "cannot write 'kep1'" + taken},
        {"read 'io/read/archive/.*' 'archive:a.tar!/kept' -o a.tar",
         "cannot write 'a.tar'" + taken},
    };
    ASSERT_EQ(files.shell("cp -r '" BUILT_PLUGIN_DIR "/file' used"), 0);
    std::string const image = "used/darwin/x86/plugin.so";
    std::string const in_use =
        "cannot write '" + image + "': it is a shared object that is in use; ";
    expect_refused(read + "kept -d used -o " + image, in_use + "give another output with -o");
    expect_refused("write -d used 'io/write/.*' " + image + " -i kept",
                   in_use + "give another PATH");
    EXPECT_EQ(run(read + "kept >>kept").err,
              "kivplug: cannot write standard output" + taken + "\n");
    EXPECT_EQ(run(read + "kept 1<>both").status, 0);
    files.write("kep0", "");
    files.write("kep1", "");
    ASSERT_EQ(files.shell("tar -cf a.tar kept"), 0);
    for (auto const& [arguments, message] : refused) {
        expect_refused(arguments, message);
        EXPECT_EQ(support::read_file(files.path("kept")), "kept");
    }
}

TEST_F(kivplug, writes_to_standard_output_under_any_of_its_names) {
    files.write("in", "data");
    ASSERT_EQ(files.shell("ln -s /dev/stdout link && ln -s link link2"), 0);
    for (std::string const name :
         {"//dev/stdout", "/dev/fd/1", "/proc/thread-self/fd/1", "./link2"}) {
        EXPECT_EQ(run("read io/read/file/kivcore/1.0 in -o " + name).out, "data") << name;
        auto const written = run("write io/write/file/kivcore/1.0 " + name + " -i in");
        EXPECT_EQ(written.out + written.err, "data") << name;
    }
}

TEST_F(kivplug, writes_to_an_output_that_would_block) {
    std::string const content = support::sample(700'000);
    files.write("in", content);
    int ends[2] = {};
    ASSERT_EQ(pipe(ends), 0);
    ASSERT_EQ(fcntl(ends[1], F_SETFL, O_NONBLOCK), 0);
    EXPECT_EQ(run("read io/read/file/kivcore/1.0 in >&" + std::to_string(ends[1]) +
                  " & head -c 700000 <&" + std::to_string(ends[0]))
                  .out,
              content);
    close(ends[0]);
    close(ends[1]);
}

TEST_F(kivplug, reports_failed_output_and_how_much_of_it_was_written) {
    std::string const full = ": No space left on device; make room or give another output";
    expect_refused("list >/dev/full", "cannot write standard output" + full);
    expect_refused("--help >/dev/full", "cannot write standard output" + full);
    files.write("in", std::string(700'000, 'x'));
    expect_refused(
        "read io/read/file/kivcore/1.0 in -o /dev/full",
        "cannot write '/dev/full'" + full + "; '/dev/full' holds only the first 0 bytes");
    auto const limited =
        run("read io/read/file/kivcore/1.0 in -o out", "ulimit -f 100;"s + k_bundled_path);
    EXPECT_EQ(limited.status, 1);
    auto const left = std::to_string(support::read_file(files.path("out")).size());
    EXPECT_EQ(limited.err,
              "kivplug: cannot write 'out': File too large; make room or give another output; "
              "'out' holds only the first " +
                  left + " bytes\n");
    auto const piped = run("read io/read/file/kivcore/1.0 in | head -c 3");
    EXPECT_EQ(piped.out + piped.err, "xxx");
    EXPECT_EQ(run("write io/write/gzip/kivcore/1.0 /dev/full -i in").status, 1);
}

TEST_F(kivplug, distinguishes_misuse_from_failure) {
    for (auto const* const wrong :
         {"", "frobnicate", "list --nope", "list a b", "read io/read/file/kivcore/1.0", "list -d",
          "read a b --offset -1\x1b", "read a b --count 1k",
          "read a b --count 9999999999999999999"}) {
        auto const refused = run(wrong);
        EXPECT_EQ(refused.status, 2) << wrong;
        EXPECT_EQ(refused.out, "") << wrong;
        EXPECT_EQ(refused.err.find("kivplug: "), 0U) << wrong;
        EXPECT_EQ(refused.err.find('\x1b'), std::string::npos) << wrong;
        EXPECT_NE(refused.err.find("\nUsage: kivplug"), std::string::npos) << wrong;
    }
    for (auto const* const asked : {"--help", "read --help", "--version"}) {
        auto const shown = run(asked);
        EXPECT_EQ(shown.status, 0) << asked;
        EXPECT_NE(shown.out.find("kivplug"), std::string::npos) << asked;
        EXPECT_EQ(shown.err, "") << asked;
    }
}

}  // namespace
