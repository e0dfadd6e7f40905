#include "kivcore/load_observer.h"

#include <stdexcept>

#include <gtest/gtest.h>

#include <kivcore/plugins.h>
#include <support/capture.h>
#include <support/fakes.h>
#include <support/files.h>

namespace {

using support::id_of;
using support::reader_element;

// Keeps what is reported to it, with the registry's answer to a question, then throws.
class rude_observer : public kivcore::load_observer {
  public:
    explicit rude_observer(kivcore::plugins& observed) : registry(observed) {}

    void passed_over(std::string const& directory, std::string const& reason) override {
        note("passed over", directory, reason);
    }
    void loaded(std::string const& directory) override { note("loaded", directory, ""); }
    void failed(std::string const& directory, std::string const& reason) override {
        note("failed", directory, reason);
    }
    void registered(std::string const& directory, std::string const& id) override {
        note(registry.describe_plugin(id) ? "registered" : "lost", directory, id);
    }
    void replaced(std::string const& directory, std::string const& id,
                  std::string const& previous_directory) override {
        note("replaced", directory, id + " of " + previous_directory);
    }
    void refused(std::string const& directory, std::string const& id,
                 std::string const& holder_directory, std::string const& reason) override {
        note("refused", directory, id + " of " + holder_directory + ": " + reason);
    }
    void xml_report(std::string const& directory, int severity, std::string const& message,
                    int line, int column) override {
        note("report", directory,
             std::to_string(severity) + " " + message + std::to_string(line) + ":" +
                 std::to_string(column));
    }

    // Everything that was reported since the last call.
    std::string reported() { return std::exchange(text, ""); }

  private:
    void note(std::string const& what, std::string const& directory, std::string const& more) {
        text += what + " " + directory + (more.empty() ? "" : ": " + more) + "\n";
        throw std::runtime_error("an observer's own failure");
    }

    kivcore::plugins& registry;
    std::string text;
};

class observer : public testing::Test {
  protected:
    // What is reported of a directory with this description. Nothing is printed meanwhile.
    std::string reports(std::string const& directory, std::string const& xml) {
        files.write(directory + "/plugin.xml", xml);
        support::captured_output output;
        plugins.load_plugin(files.path(directory), listening);
        EXPECT_EQ(output.out.text() + output.err.text(), "");
        return listening.reported();
    }

    support::temporary_directory files;
    kivcore::plugins plugins{"/nowhere"};
    rude_observer listening{plugins};
};

TEST_F(observer, hears_what_happens_to_each_id) {
    auto const native = [](std::string const& key) {
        return support::plugin_element("native", "read", key, {{"create", "make"}});
    };
    std::string const a = files.path("a");
    std::string const b = files.path("b");
    std::string const c = files.path("c");
    EXPECT_EQ(reports("a", reader_element("k|l")), "registered " + a + ": " + id_of("k") +
                                                       "\nregistered " + a + ": " + id_of("l") +
                                                       "\nloaded " + a + "\n");
    EXPECT_EQ(reports("b", reader_element("m|k|n")),
              "registered " + b + ": " + id_of("m") + "\nrefused " + b + ": " + id_of("k") +
                  " of " + a +
                  ": already present, and only a native plug-in replaces one that is not native\n"
                  "refused " +
                  b + ": " + id_of("n") +
                  " of : an id before it in the same plug-in was refused\nloaded " + b + "\n");
    EXPECT_EQ(reports("c", native("k")),
              "replaced " + c + ": " + id_of("k") + " of " + a + "\nloaded " + c + "\n");
    EXPECT_EQ(reports("b", native("k")), "refused " + b + ": " + id_of("k") + " of " + c +
                                             ": already present with native interface\nloaded " +
                                             b + "\n");
    plugins.register_with_id(id_of("by-hand"), nullptr, "By hand");
    EXPECT_EQ(reports("a", native("by-hand")),
              "replaced " + a + ": " + id_of("by-hand") + " of \nloaded " + a + "\n");
}

TEST_F(observer, hears_why_a_directory_failed_and_where_its_description_is_broken) {
    std::string const a = files.path("a");
    std::string const message = "Opening and ending tag mismatch: bundle line 1 and bundel\n";
    EXPECT_EQ(reports("a", "<bundle>\n  </bundel>"), "report " + a + ": 4 " + message +
                                                         "2:12\nfailed " + a +
                                                         ": Parser error: \"" + message + "\"\n");
    std::string const prefix = "Namespace prefix p on bundle is not defined\n";
    EXPECT_EQ(reports("a", "<p:bundle/>"), "report " + a + ": 4 " + prefix + "1:10\nfailed " + a +
                                               ": Parser error: \"" + prefix + "\"\n");
}

TEST_F(observer, hears_of_every_entry_of_a_scanned_directory) {
    std::string const broken = files.path("broken");
    std::string const hidden = files.path(".hidden");
    std::string const file = files.write("file", "");
    files.write(".hidden/plugin.xml", reader_element("hidden"));
    files.write("broken/plugin.xml", "");
    reports("good", reader_element("k"));
    rude_observer all(plugins);
    EXPECT_EQ(plugins.load_plugins(files.path(), all), 1);
    auto const reported = all.reported();
    for (auto const& line :
         {"passed over " + hidden + ": hidden\n", "passed over " + file + ": not a directory\n",
          "failed " + broken + ": ", "refused " + files.path("good") + ": ",
          "loaded " + files.path("good") + "\n"}) {
        EXPECT_NE(reported.find(line), std::string::npos) << line << reported;
    }
    EXPECT_EQ(reported.find("cannot be listed"), std::string::npos) << reported;
    EXPECT_EQ(plugins.load_plugins("/nowhere", all), 0);
    EXPECT_EQ(all.reported(), "failed /nowhere: cannot be listed: No such file or directory\n");
}

}  // namespace
