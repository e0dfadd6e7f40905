#include "new_project.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <sstream>
#include <utility>

#include "failure.h"
#include "kind.h"
#include "notices.h"
#include "search_path.h"
#include "text.h"

namespace kivplug {

namespace {

constexpr char const* k_lower = "abcdefghijklmnopqrstuvwxyz";
constexpr char const* k_upper = "ABCDEFGHIJKLMNOPQRSTUVWXYZ";
constexpr char const* k_digits = "0123456789";

constexpr std::size_t k_longest_name = 64;

constexpr mode_t k_new_directory_mode = 0777;  // less what the umask takes away

struct project_kind {
    char const* name;
    char const* type;
    char const* summary;  // of what the plug-in made from the templates does
};

constexpr project_kind k_kinds[] = {
    {"reader", "read", "Reads a file and returns its text in capitals"},
    {"writer", "write", "Writes a new file, and refuses to overwrite one"},
    {"browser", "browse", "Lists the directories and files of the file system"},
    {"monitor", "monitor", "Reports changes of the files in a directory"},
    {"multi-file", "read", "Joins the files PATH.0, PATH.1 and so on to one stream"},
    {"frame", "read", "Reads raw sound, stereo with samples of 16 bits"},
};

project_kind const& kind_named(std::string const& name) {
    return *std::find_if(std::begin(k_kinds), std::end(k_kinds),
                         [&](project_kind const& each) { return each.name == name; });
}

struct id_fields {
    std::string category;
    std::string type;
    std::string key;
    std::string developer;
};

id_fields fields_of(new_options const& options) {
    auto const or_else = [](std::string const& given, std::string const& otherwise) {
        return given.empty() ? otherwise : given;
    };
    return {or_else(options.category, "io"), or_else(options.type, kind_named(options.kind).type),
            or_else(options.key, options.name), or_else(options.developer, "example")};
}

std::string objection_to_name(std::string const& name) {
    bool const starts_well = name.find_first_of(std::string(k_lower) + k_upper) == 0;
    auto const bad = name.find_first_not_of(std::string(k_lower) + k_upper + k_digits + "_");
    if (starts_well && bad == std::string::npos && name.size() <= k_longest_name) {
        return "";
    }
    return "NAME " + quoted(name) + " is not a name for functions and classes: use up to " +
           std::to_string(k_longest_name) +
           " letters, digits and '_', with a letter first; --key may also have '-', '.' and '+'";
}

// The words end up in XML, in C++ and in ids.
std::string objection_to_field(std::string const& option, std::string const& word) {
    auto const allowed = std::string(k_lower) + k_upper + k_digits + "_-.+";
    bool const is_good = word.find_first_not_of(allowed) == std::string::npos;
    return is_good ? ""
                   : option + " " + quoted(word) +
                         " is a field of the id: use letters, digits, '_', '-', '.' and '+'";
}

std::string objection_to_type(new_options const& options) {
    auto const fields = fields_of(options);
    std::string const own_type = kind_named(options.kind).type;
    std::string const own_kind = kind_of_type("io", own_type);
    bool const is_c = options.flavor == "c-style";
    if (is_c && options.kind != "reader" && options.kind != "writer") {
        return "a c-style plug-in is a reader or a writer: for the kind " + quoted(options.kind) +
               ", use the flavor native";
    }
    if (is_c && (fields.category != "io" || fields.type != own_type)) {
        return "a c-style " + options.kind + " has the category io and the type " + own_type;
    }
    auto const kind = kind_of_type(fields.category, fields.type);
    if (!kind.empty() && kind != own_kind) {
        return "plug-ins with the category io and the type " + fields.type + " are of the kind " +
               kind + ": choose another --type or --kind";
    }
    return "";
}

// What a template has between two '@', and what the project has there.
using replacements = std::vector<std::pair<std::string, std::string>>;

replacements replacements_for(new_options const& options) {
    auto const fields = fields_of(options);
    auto const id =
        fields.category + "/" + fields.type + "/" + fields.key + "/" + fields.developer + "/1.0";
    return {{"@name@", options.name},
            {"@category@", fields.category},
            {"@type@", fields.type},
            {"@key@", fields.key},
            {"@developer@", fields.developer},
            {"@summary@", kind_named(options.kind).summary},
            {"@id@", id}};
}

std::string filled_template(std::string const& name, replacements const& all) {
    auto const path = installed_templates() + "/" + name + ".in";
    std::ifstream file(path);
    std::ostringstream content;
    content << file.rdbuf();
    if (!file || !content) {
        throw failure("cannot read the template " + quoted(path) + "; install kivplug again");
    }
    auto text = content.str();
    for (auto const& [word, value] : all) {
        for (auto at = text.find(word); at != std::string::npos;
             at = text.find(word, at + value.size())) {
            text.replace(at, word.size(), value);
        }
    }
    return text;
}

struct project_file {
    std::string path;
    std::string meaning;
    std::string text;
};

std::vector<project_file> files_of(new_options const& options) {
    bool const is_c = options.flavor == "c-style";
    std::string const source = is_c ? ".c" : ".cpp";
    std::string const build = options.build == "make" ? "Makefile" : "CMakeLists.txt";
    auto const in_flavor = [&](std::string const& name) { return options.flavor + "/" + name; };
    auto const in_project = [&](std::string const& name) { return options.name + "/" + name; };
    auto const all = replacements_for(options);
    return {
        {in_project(options.name + source), "the plug-in",
         filled_template(in_flavor(options.kind + source), all)},
        {in_project("plugin.xml"), "its description",
         filled_template(in_flavor(is_c ? options.kind + ".xml" : "plugin.xml"), all)},
        {in_project(options.name + "_test.cpp"), "its test",
         filled_template("tests/" + options.kind + ".cpp", all)},
        {in_project(build), "builds, tests and installs it",
         filled_template(in_flavor(build), all)},
    };
}

std::string summary_of(std::vector<project_file> const& files, new_options const& options) {
    std::vector<std::vector<std::string>> rows(files.size());
    std::transform(files.begin(), files.end(), rows.begin(), [](project_file const& each) {
        return std::vector<std::string>{each.path, each.meaning};
    });
    return table(rows, 2) + "Build and test it in " + options.name + ": " +
           (options.build == "make"
                ? "make check\n"
                : "cmake -B build && cmake --build build && ctest --test-dir build\n") +
           "What to do if kivcore is not found is at the start of " + files.back().path + ".\n";
}

void create_directory(std::string const& path) {
    if (mkdir(path.c_str(), k_new_directory_mode) == 0) {
        return;
    }
    throw failure("cannot create the directory " + quoted(path) + ": " + error_text(errno) +
                  (errno == EEXIST ? "; choose another NAME, or move what is there away"
                                   : "; work in a directory that you may write to"));
}

// Removes what a failure leaves of the project. Needs no memory for that.
class unfinished_project {
  public:
    unfinished_project(std::string const& made, std::vector<project_file> const& all)
        : directory(made), files(all) {}
    ~unfinished_project() {
        if (is_finished) {
            return;
        }
        for (auto const& each : files) {
            unlink(each.path.c_str());
        }
        if (rmdir(directory.c_str()) != 0) {
            say(quoted(directory) + " is not complete: remove it");
        }
    }

    unfinished_project(unfinished_project const&) = delete;
    unfinished_project& operator=(unfinished_project const&) = delete;

    void finish() { is_finished = true; }

  private:
    std::string const& directory;
    std::vector<project_file> const& files;
    bool is_finished = false;
};

}  // namespace

std::vector<std::string> kinds_of_projects() {
    std::vector<std::string> names;
    std::transform(std::begin(k_kinds), std::end(k_kinds), std::back_inserter(names),
                   [](project_kind const& each) { return each.name; });
    return names;
}

std::string objection_to(new_options const& options) {
    for (auto const& objection :
         {objection_to_name(options.name), objection_to_field("--category", options.category),
          objection_to_field("--type", options.type), objection_to_field("--key", options.key),
          objection_to_field("--developer", options.developer), objection_to_type(options)}) {
        if (!objection.empty()) {
            return objection;
        }
    }
    return "";
}

void new_project(byte_sink& out, new_options const& options) {
    auto const files = files_of(options);
    auto const summary = summary_of(files, options);
    create_directory(options.name);
    unfinished_project project(options.name, files);
    for (auto const& each : files) {
        auto file = byte_sink::to_file(each.path);
        file.write(each.text);
        file.finish();
    }
    project.finish();
    out.write(summary);
}

}  // namespace kivplug
