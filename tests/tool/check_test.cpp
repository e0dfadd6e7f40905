// kivplug check, over plug-in directories with one mistake each.

#include <sys/prctl.h>
#include <sys/wait.h>

#include <filesystem>
#include <ostream>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <kivcore/load_observer.h>
#include <kivcore/plugins.h>
#include <kivcore/src/description.h>
#include <support/files.h>

namespace {

using nlohmann::json;

// A line of tests/corpus/cases.tsv.
struct broken_plugin {
    std::string name;
    std::string code;
    std::string place;
    std::string build;
    std::string repair;
};

// NOLINTNEXTLINE(readability-identifier-naming): the test library's name
void PrintTo(broken_plugin const& each, std::ostream* out) {
    *out << each.name;
}

std::vector<std::string> fields_of(std::string const& line) {
    std::vector<std::string> fields(1);
    for (char const each : line) {
        each == '\t' ? fields.emplace_back() : fields.back() += each;
    }
    return fields;
}

std::vector<broken_plugin> corpus() {
    std::vector<broken_plugin> cases;
    std::string line;
    for (char const each : support::read_file(CORPUS "/cases.tsv")) {
        if (each != '\n') {
            line += each;
            continue;
        }
        auto const fields = fields_of(line);
        if (line[0] != '#' && fields.size() == 5) {
            cases.push_back({fields[0], fields[1], fields[2], fields[3], fields[4]});
        }
        line.clear();
    }
    return cases;
}

// The directory that a case is a copy of: its own, or "trial" for "trial-crashes", or a sound one.
std::string source_of(std::string const& name) {
    std::string const corpus = CORPUS "/";
    for (auto const& directory : {name, name.substr(0, name.find('-'))}) {
        if (std::filesystem::exists(corpus + directory)) {
            return corpus + directory;
        }
    }
    return corpus + "sound";
}

class check : public ::testing::TestWithParam<broken_plugin> {
  protected:
    // The exit status of a command, run in the copy of the case.
    int in_copy(std::string const& command) const {
        std::string const means =
            "so=darwin/x86/plugin.so tried='" TRIED "' corpus='" CORPUS "' cc='" COMPILE_C
            "' cxx='" COMPILE_CXX
            "'; place() { mkdir -p \"$1/darwin/x86\" && shift && \"$@\"; }; "
            "c_style() { place \"$1\" $cc \"$corpus/sound/plugin.c\" -o \"$1/$so\"; }; "
            "native() { place \"$1\" $cxx \"$corpus/native.cpp\" -o \"$1/$so\"; }; "
            "tried() { echo \"{ global: $1; local: *; };\" >.map && "
            "sed -i \"s/\\\"create\\\">.*</\\\"create\\\">$1</\" plugin.xml && "
            "place . $cxx ${2:-$tried} ${2:+-fvisibility=hidden plugin.cpp} "
            "-Wl,--version-script=.map -o $so; }; ";
        int const status =
            files.shell("cd '" + GetParam().name + "' && { " + means + command + "; }");
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    // Everything that is found in the copy, as "CODE PLACE".
    std::vector<std::string> found() const {
        files.shell("'" KIVPLUG "' check --strict --json '" + GetParam().name + "' >.out");
        std::vector<std::string> all;
        for (auto const& directory : json::parse(support::read_file(files.path(".out")))) {
            EXPECT_EQ(std::set<std::string>(directory["ids"]), loaded_ids(directory["directory"]));
            for (auto const& step : directory["steps"]) {
                for (auto const& each : step["findings"]) {
                    all.push_back(std::string(each["code"]) + " " + place_of(each));
                }
            }
        }
        return all;
    }

    support::temporary_directory files;

  private:
    // What the library registers for a directory.
    std::set<std::string> loaded_ids(std::string const& directory) const {
        kivcore::load_observer observer;
        kivcore::plugins registry(".");
        registry.load_plugin(files.path(directory), observer);
        auto const ids = registry.find_plugins("(?s).*");
        return {ids.begin(), ids.end()};
    }

    static std::string place_of(json const& finding) {
        std::string place = finding["file"];
        auto const start = GetParam().name + "/";
        if (place.rfind(start, 0) == 0) {
            place.erase(0, start.size());
        }
        for (char const* part : {"line", "column"}) {
            if (finding[part] > 0) {
                place += ":" + std::to_string(finding[part].get<int>());
            }
        }
        std::string const symbol = finding["symbol"];
        return symbol.empty() ? place : place + " (" + symbol + ")";
    }
};

// Why the plug-in must not be tried here; empty if it can be.
std::string obstacle_to(broken_plugin const& broken) {
    // In an emulator, for example, they succeed.
    std::set<std::string> const attacks = {"KIV443", "KIV444", "KIV445"};
    if (attacks.count(broken.code) != 0 && prctl(PR_GET_SECCOMP) < 0) {
        return "this system cannot refuse a process its system calls";
    }
    if (broken.name == "trial-takes-threads" && sizeof(void*) == 4) {
        return "the stacks fill the address space first, and std::thread throws";
    }
#ifdef __SANITIZE_ADDRESS__
    if (broken.code == "KIV422" || broken.code == "KIV423") {
        return "the sanitizers of the library stop such an object first";
    }
#endif
#ifdef _LIBCPP_VERSION
    if (broken.code == "KIV422") {
        return "its run-time support does not tell";
    }
    // The C library unwinds with libgcc, but the personality routine asks LLVM's libunwind.
    if (broken.name == "trial-ends-thread") {
        return "with two unwinders in the process, pthread_exit crashes";
    }
#endif
    return "";
}

TEST_P(check, names_the_mistake_and_its_place_and_is_silent_after_the_repair) {
    auto const& broken = GetParam();
    if (auto const obstacle = obstacle_to(broken); !obstacle.empty()) {
        GTEST_SKIP() << obstacle;
    }
    std::filesystem::copy(source_of(broken.name), files.path(broken.name),
                          std::filesystem::copy_options::recursive);
    if (broken.build != "-") {
        bool const is_own = broken.build.find("$so") != std::string::npos;
        ASSERT_EQ(in_copy((is_own ? "mkdir -p darwin/x86 && " : "") + broken.build), 0);
    }
    EXPECT_EQ(found(), std::vector<std::string>{broken.code + " " + broken.place});
    if (broken.repair != "-") {
        ASSERT_EQ(in_copy(broken.repair), 0);
        EXPECT_EQ(found(), std::vector<std::string>());
        EXPECT_EQ(files.shell("'" KIVPLUG "' list -d '" + broken.name + "' >.out"), 0);
    }
}

TEST(check_options, leave_out_shared_objects_and_sound_directories) {
    support::temporary_directory const files;
    std::string const prepare =
        "cp -r '" CORPUS "/sound' sound && cp -r '" CORPUS "/unknown-element' odd && ";
    EXPECT_EQ(files.shell(prepare + "'" KIVPLUG "' check --description --quiet sound odd >.out"),
              256);
    auto const report = support::read_file(files.path(".out"));
    EXPECT_EQ(report.substr(0, 4), "odd\n") << report;
    EXPECT_NE(report.find("KIV126"), std::string::npos) << report;
    EXPECT_EQ(report.find("binary"), std::string::npos) << report;
}

TEST(check_codes, are_those_of_the_document) {
    support::temporary_directory const files;
    ASSERT_EQ(files.shell("'" KIVPLUG "' check --codes >.out"), 0);
    auto const table = support::read_file(files.path(".out"));
    auto const document = support::read_file(SOURCE "/docs/diagnosis.md");
    EXPECT_NE(document.find("<!-- codes -->\n\n" + table + "\n<!-- /codes -->"), std::string::npos)
        << "between its marks, " SOURCE
           "/docs/diagnosis.md"
           " must have what kivplug check --codes prints:\n"
        << table;
}

INSTANTIATE_TEST_SUITE_P(corpus, check, ::testing::ValuesIn(corpus()), [](auto const& each) {
    std::string name = each.param.name;
    for (char& letter : name) {
        letter = letter == '-' ? '_' : letter;
    }
    return name;
});

// The words of descriptions, with the names of elements and functions.
std::set<std::string> vocabulary() {
    using namespace kivcore;
    std::set<std::string> words = {k_plugin_element, k_interface_element,
                                   k_info_element,   k_developer_element,
                                   k_bind_element,   k_function,
                                   k_native,         k_c_style,
                                   k_read,           k_write,
                                   k_create,         k_open,
                                   k_close,          k_flush,
                                   k_seek,           k_get_pos,
                                   k_set_pos,        k_size};
    words.insert(k_skipped_elements.begin(), k_skipped_elements.end());
    for (auto const& keys : {k_interface_facts, k_info_facts, k_developer_facts}) {
        for (std::string const key : keys) {
            words.insert(key.substr(key.rfind('.') + 1));
        }
    }
    return words;
}

// Adds every text between a start and the end after it.
void add_between(std::string const& text, std::string const& start, std::string const& end,
                 std::set<std::string>& found) {
    for (auto at = text.find(start); at != std::string::npos; at = text.find(start, at)) {
        at += start.size();
        found.insert(text.substr(at, text.find(end, at) - at));
    }
}

TEST(description_vocabulary, is_the_same_in_the_schema_and_in_the_guide) {
    auto const schema = support::read_file(SOURCE "/code/lib/kivcore/plugin.rng");
    std::set<std::string> in_schema;
    add_between(schema, "<element name=\"", "\"", in_schema);
    add_between(schema, "<attribute name=\"", "\"", in_schema);
    add_between(schema, "<name>", "<", in_schema);
    add_between(schema, "<value type=\"string\">", "<", in_schema);
    EXPECT_EQ(in_schema, vocabulary());

    auto words = vocabulary();
    words.insert(kivcore::k_io);
    words.insert(kivcore::k_native_types.begin(), kivcore::k_native_types.end());
    auto const guide = support::read_file(SOURCE "/docs/plugin-guide.md");
    std::set<std::string> in_guide;
    for (auto const* const mark : {"`", "/"}) {
        for (auto const* const end : {"`", "/"}) {
            add_between(guide.substr(guide.find("## The description")), mark, end, in_guide);
        }
    }
    for (auto const& each : words) {
        EXPECT_EQ(in_guide.count(each), 1U) << each;
    }
}

}  // namespace
