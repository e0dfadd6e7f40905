#include <sys/stat.h>

#include <algorithm>
#include <iterator>

#include <gtest/gtest.h>

#include <morbase/es.h>
#include <support/capture.h>
#include <support/fakes.h>
#include <support/files.h>

namespace {

namespace fs = std::filesystem;

using support::plugin_element;
using strings = std::vector<std::string>;

std::string reader_element(std::string const& key) {
    return plugin_element("c-style", "read", key, support::k_memory_reader);
}

std::string id_of(std::string const& key) {
    return "io/read/" + key + "/tests/1.0";
}

class discovery : public testing::Test {
  protected:
    // Acts and keeps what was printed.
    template <typename action>
    auto captured(action const& act) {
        support::captured_output output;
        auto const result = act();
        out = output.out.text();
        err = output.err.text();
        return result;
    }

    bool load(std::string const& name) {
        return captured([&] { return plugins.load_plugin(files.path(name)); });
    }

    int scan(std::string const& name = "") {
        return captured([&] { return plugins.load_plugins(files.path(name)); });
    }

    // Writes the description of the plug-in directory `name`.
    std::string describe(std::string const& name, std::string const& xml) {
        return files.write(name + "/plugin.xml", xml);
    }

    // The text of the XML library's last report, as it was shown on standard output.
    std::string last_report() const {
        std::string const head = "(readxml_base) error func called with msg: ";
        auto const start = out.rfind(head);
        auto const end = out.find("\nsev: ", start);
        return start == std::string::npos || end == std::string::npos
                   ? "(no report)"
                   : out.substr(start + head.size(), end - start - head.size());
    }

    support::temporary_directory files;
    kivcore::plugins plugins{"/nowhere"};
    std::string out;  // what the last load printed
    std::string err;
};

TEST_F(discovery, broken_xml_is_reported_with_the_xml_librarys_text_and_not_loaded) {
    std::string const good = reader_element("k");
    std::pair<char const*, std::string> const faults[] = {
        {"empty", ""},
        {"garbage", "\x01\x02 this is not XML"},
        {"blank", "   \n"},
        {"plain text", "plugin"},
        {"truncated", good.substr(0, good.size() / 2)},
        {"truncated in the last tag", good.substr(0, good.size() - 1)},
        {"truncated in a bundle", "<bundle>" + good},
        {"closes the wrong tag", "<bundle><plugin></bundle></plugin>"},
        {"closes the wrong tag late", "<bundle>" + std::string(8192, ' ') + good + "</plugin>"},
        {"goes on behind its end", good + good},
        {"stray text behind", good + "text"},
        {"bad character", "<bundle>&undefined;</bundle>"},
        {"bad encoding", "<?xml version='1.0' encoding='UTF-8'?><bundle>\xff\xfe</bundle>"},
    };
    for (auto const& [fault, xml] : faults) {
        SCOPED_TRACE(fault);
        describe(fault, xml);
        EXPECT_FALSE(load(fault));
        EXPECT_EQ(err, "failed to load plugin: Parser error: \"" + last_report() + "\"\n");
        EXPECT_EQ(last_report().substr(last_report().size() - 1), "\n");
    }
    EXPECT_EQ(scan(), 0);
    EXPECT_EQ(std::count(err.begin(), err.end(), '"'),
              2 * std::distance(std::begin(faults), std::end(faults)));

    describe("healthy", reader_element("healthy"));
    EXPECT_TRUE(load("healthy"));
    EXPECT_EQ(out + err, "");
}

TEST_F(discovery, a_description_that_breaks_off_anywhere_registers_nothing) {
    std::string const good = reader_element("k");
    for (std::size_t length = 0; length < good.size(); ++length) {
        describe("cut", good.substr(0, length));
        EXPECT_FALSE(load("cut")) << length;
    }
    EXPECT_TRUE(plugins.find_plugins(".*").empty());
}

TEST_F(discovery, a_description_that_cannot_be_understood_is_reported_and_not_loaded) {
    auto without = [](std::string const& function) {
        auto bindings = support::k_memory_reader;
        bindings.erase(function);
        return plugin_element("c-style", "read", "k", bindings);
    };
    std::pair<std::string, char const*> const faults[] = {
        {"<plugin><interface><bind>f</bind></interface></plugin>",
         "xml parse: failed to read 'function' attribute of 'bind'"},
        {"<plugin><interface><category></category></interface></plugin>",
         "xml parse: failed to read value of 'category'"},
        {"<plugin><info><name> </name></info></plugin>",
         "xml parse: failed to read value of 'name'"},
        {"<plugin><info><developer><id>d</id></developer></info></plugin>",
         "xml parse: failed to read element name"},
        {"<plugin><info><developer><id></id></developer></info></plugin>",
         "xml parse: failed to read value of 'developer'"},
        {plugin_element("native", "read", "k", {}), "no binding for create function"},
        {without("open"), "no binding for open function"},
        {without("seek"), "no binding for seek or get_pos function"},
        {without("size"), "no binding for size function"},
    };
    for (auto const& [xml, reason] : faults) {
        SCOPED_TRACE(xml);
        describe("faulty", xml);
        EXPECT_FALSE(load("faulty"));
        EXPECT_EQ(err, "failed to load plugin: " + std::string(reason) + "\n");
        EXPECT_EQ(out, "");
    }
    EXPECT_TRUE(plugins.find_plugins(".*").empty());
}

TEST_F(discovery, what_cannot_be_opened_as_a_description_is_refused_at_once) {
    fs::create_directories(files.path("missing"));
    fs::create_directories(files.path("directory/plugin.xml"));
    for (char const* name :
         {"fifo", "fifo behind a link", "device", "endless device", "dangling"}) {
        fs::create_directories(files.path(name));
    }
    ASSERT_EQ(mkfifo(files.path("fifo/plugin.xml").c_str(), 0600), 0);
    fs::create_symlink("../fifo/plugin.xml", files.path("fifo behind a link/plugin.xml"));
    fs::create_symlink("/dev/null", files.path("device/plugin.xml"));
    fs::create_symlink("/dev/zero", files.path("endless device/plugin.xml"));
    fs::create_symlink("nowhere", files.path("dangling/plugin.xml"));
    for (char const* name : {"missing", "directory", "fifo", "fifo behind a link", "device",
                             "endless device", "dangling", "not even a directory"}) {
        EXPECT_FALSE(load(name)) << name;
        EXPECT_EQ(err, "failed to load plugin: Could not create xml reader for \"" +
                           files.path(name) + "/plugin.xml\"\n");
        EXPECT_EQ(out, "") << name;
    }
}

TEST_F(discovery, only_what_may_be_a_plugin_directory_is_looked_at) {
    support::temporary_directory elsewhere;
    elsewhere.write("linked/plugin.xml", reader_element("linked"));
    describe("plain", reader_element("plain"));
    describe(".hidden", reader_element("hidden"));
    describe("outer/nested", reader_element("nested"));
    files.write("notes.txt", reader_element("notes"));
    files.write("plugin.xml", reader_element("scanned"));
    ASSERT_EQ(mkfifo(files.path("fifo").c_str(), 0600), 0);
    fs::create_directory_symlink(elsewhere.path("linked"), files.path("link"));
    fs::create_symlink("notes.txt", files.path("link to notes"));

    EXPECT_EQ(scan(), 2);
    EXPECT_EQ(plugins.find_plugins(".*"), (strings{id_of("linked"), id_of("plain")}));
    strings lines;
    for (char const* name : {"link to notes", "outer"}) {
        std::string const line = "failed to load plugin: Could not create xml reader for \"" +
                                 files.path(name) + "/plugin.xml\"\n";
        EXPECT_NE(err.find(line), std::string::npos) << line << err;
        lines.push_back(line);
    }
    EXPECT_EQ(err.size(), lines[0].size() + lines[1].size());
    EXPECT_EQ(out, "");
}

TEST_F(discovery, a_directory_that_cannot_be_scanned_counts_as_empty) {
    files.write("file", "");
    fs::create_directories(files.path("empty"));
    for (char const* name : {"empty", "file", "missing"}) {
        EXPECT_EQ(scan(name), 0) << name;
        EXPECT_EQ(out + err, "") << name;
    }
}

TEST_F(discovery, a_trailing_slash_is_taken_as_it_is_by_one_and_joined_by_the_other) {
    describe("a", reader_element("a"));
    EXPECT_EQ(plugins.load_plugins(files.path() + "///"), 1);
    std::string const path = support::value_of(plugins.describe_plugin(id_of("a")), "path");
    EXPECT_TRUE(fs::equivalent(path, files.path("a")));
    EXPECT_EQ(path, files.path() + "/a");

    describe("b", reader_element("b"));
    EXPECT_TRUE(plugins.load_plugin(files.path("b") + "//"));
    EXPECT_EQ(support::value_of(plugins.describe_plugin(id_of("b")), "path"),
              files.path("b") + "//");
}

TEST_F(discovery, every_plugin_element_outside_another_is_one_plugin) {
    describe("bundle", "<!DOCTYPE bundle><bundle version='2'><!-- none -->" + reader_element("a") +
                           "<unknown><plugins/>" + reader_element("b") + "</unknown></bundle>");
    describe("single", reader_element("c"));
    describe("none", "<bundle><info><name>n</name></info></bundle>");
    EXPECT_EQ(scan(), 3);
    EXPECT_EQ(out + err, "");
    EXPECT_EQ(plugins.find_plugins(".*"), (strings{id_of("a"), id_of("b"), id_of("c")}));
}

TEST_F(discovery, what_came_before_a_fault_stays_registered) {
    describe("half", "<bundle>" + reader_element("first") +
                         "<plugin><interface><bind>f</bind></interface></plugin>" +
                         reader_element("last") + "</bundle>");
    EXPECT_FALSE(load("half"));
    EXPECT_EQ(err,
              "failed to load plugin: xml parse: failed to read 'function' attribute of 'bind'\n");
    EXPECT_EQ(plugins.find_plugins(".*"), strings{id_of("first")});
}

TEST_F(discovery, of_two_equals_the_first_listed_stays_and_both_count) {
    describe("one", reader_element("k"));
    describe("two", reader_element("k"));
    std::string const first = fs::directory_iterator(files.path())->path().string();
    EXPECT_EQ(scan(), 2);
    EXPECT_EQ(out, "Not inserting plugin " + id_of("k") +
                       " in database (already present with native interface)\n");
    EXPECT_EQ(err, "");
    EXPECT_EQ(support::value_of(plugins.describe_plugin(id_of("k")), "path"), first);
}

TEST_F(discovery, an_interface_that_nothing_serves_is_described_and_creates_nothing) {
    describe("browser", plugin_element("c-style", "browse", "k", {}));
    EXPECT_TRUE(load("browser"));
    EXPECT_EQ(out + err, "");
    EXPECT_TRUE(plugins.describe_plugin("io/browse/k/tests/1.0"));
    EXPECT_FALSE(plugins.create_with_id("io/browse/k/tests/1.0"));
}

TEST_F(discovery, a_missing_or_broken_shared_object_is_met_by_create) {
    describe("missing", reader_element("missing"));
    describe("broken", reader_element("broken"));
    files.write("broken/darwin/x86/plugin.so", "garbage");
    EXPECT_EQ(scan(), 2);
    EXPECT_EQ(out + err, "");
    for (std::string const name : {"missing", "broken"}) {
        try {
            plugins.create_with_id(id_of(name));
            ADD_FAILURE() << name << " was created";
        } catch (morbase::es::call const& error) {
            std::string const head =
                "failed to load binary image: " + files.path(name) + "/darwin/x86/plugin.so: ";
            EXPECT_EQ(std::string(error.what()).substr(0, head.size()), head);
        }
    }
}

TEST_F(discovery, no_schema_is_looked_for) {
    describe("a", reader_element("a"));
    files.write("a/plugin.rng", "no schema");
    files.write("plugin.rng", "no schema");
    for (std::string const& root : {files.path(), std::string(), files.path("missing")}) {
        kivcore::plugins other(root);
        EXPECT_TRUE(other.load_plugin(files.path("a"))) << root;
    }
}

TEST_F(discovery, failures_leave_no_file_open) {
    describe("truncated", "<bundle>");
    describe("faulty", "<plugin><interface><bind>f</bind></interface></plugin>");
    fs::create_directories(files.path("missing"));
    auto const open_files = [] {
        return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
    };
    scan();
    auto const before = open_files();
    for (int round = 0; round < 20; ++round) {
        EXPECT_EQ(scan(), 0);
    }
    EXPECT_EQ(open_files(), before);
}

}  // namespace
