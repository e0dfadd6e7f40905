#include "loading.h"

#include <fcntl.h>
#include <strings.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>
#include <vector>

#include <morbase/path.h>

#include "check/finding.h"
#include "descriptor.h"
#include "failure.h"
#include "notices.h"
#include "shared/directory.h"
#include "text.h"

namespace kivplug {

namespace {

namespace fs = std::filesystem;

constexpr char const* k_description = "plugin.xml";

std::string in(std::string const& directory, std::string const& name) {
    return morbase::path_appended(directory, name, '/');
}

// The names in a directory, as the file system lists them. origin: who named the directory,
// for the failure that is raised when it cannot be listed; empty for one that was found.
std::vector<std::string> entries_of(std::string const& directory, std::string const& origin) {
    bundled::directory_handle const opened(opendir(directory.c_str()));
    std::vector<std::string> names;
    auto const add = [&](dirent const& entry) { names.emplace_back(entry.d_name); };
    int const error = opened ? bundled::visit_entries(opened, add) : errno;
    if (error != 0) {
        throw failure("cannot open the directory " + quoted(directory) +
                      (origin.empty() ? "" : ", " + origin) + ": " + error_text(error) +
                      (origin.empty() ? "; make it readable, or take it away"
                                      : "; name a readable directory of plug-ins with -d"));
    }
    return names;
}

// A link is an entry, even one that leads nowhere.
bool has_entry(std::string const& directory, std::string const& name) {
    std::error_code unknown;
    return fs::exists(fs::symlink_status(in(directory, name), unknown));
}

[[noreturn]] void fail_for_search(std::string const& directory) {
    throw failure("cannot search the directory " + quoted(directory) + ": " + error_text(EACCES) +
                  "; make it searchable, or take it away");
}

// Of what may be a plug-in, only a link can turn out to be something else.
void require_directory(std::string const& path) {
    std::error_code unknown;
    auto const status = fs::status(path, unknown);
    if (fs::exists(status) && !fs::is_directory(status)) {
        throw failure(quoted(path) +
                      " is a link to a file, not to a plug-in directory: "
                      "remove it or move it away");
    }
    if (status.type() == fs::file_type::not_found) {
        throw failure(quoted(path) + " is a link to " +
                      quoted(fs::read_symlink(path, unknown).string()) +
                      ", which is not there: repair or remove it");
    }
}

// The entry whose name differs from plugin.xml only in case; empty when there is none.
std::string misspelt_description(std::vector<std::string> const& names) {
    auto const found = std::find_if(names.begin(), names.end(), [](std::string const& name) {
        return strcasecmp(name.c_str(), k_description) == 0 && name != k_description;
    });
    return found != names.end() ? *found : "";
}

[[noreturn]] void fail_for_spelling(std::string const& directory, std::string const& name) {
    throw failure(quoted(directory) + " has " + quoted(name) +
                  " in the place of plugin.xml; rename it");
}

[[noreturn]] void fail_for_missing_description(std::string const& directory) {
    auto const names = entries_of(directory, "");
    auto const misspelt = misspelt_description(names);
    if (!misspelt.empty()) {
        fail_for_spelling(directory, misspelt);
    }
    bool const holds_plugins = std::any_of(names.begin(), names.end(), [&](auto const& name) {
        return name.front() != '.' && has_entry(in(directory, name), k_description);
    });
    throw failure(quoted(directory) +
                  (holds_plugins
                       ? " has no plugin.xml, but directories in it have one; name it with -d"
                       : " has no plugin.xml; put the description there, or take the directory "
                         "away"));
}

// Why the file cannot be read, as an errno value; 0 when it can. A FIFO is not opened: that could
// block.
int reading_error(std::string const& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        return errno;
    }
    if (!S_ISREG(status.st_mode)) {
        throw failure(quoted(path) + " is not a regular file; put the description there");
    }
    if (status.st_size == 0) {
        throw failure(quoted(path) + " is empty; put the description there");
    }
    descriptor const opened(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    return opened.is_open() ? 0 : errno;
}

// When a description cannot be opened, the library does not say why.
void require_description(std::string const& directory) {
    auto const path = in(directory, k_description);
    int const error = reading_error(path);
    if (error == ENOENT && !has_entry(directory, k_description)) {
        fail_for_missing_description(directory);
    }
    // The entry can be seen when it is a link into a directory that cannot be searched.
    if (error == EACCES && !has_entry(directory, k_description)) {
        fail_for_search(directory);
    }
    if (error != 0) {
        throw failure(
            "cannot read " + quoted(path) +
            (error == ENOENT ? ", a link to a file that is not there" : ": " + error_text(error)) +
            "; put a readable description there");
    }
}

// What keeps the library from reading the description; empty when it can be read. The library does
// not say why.
std::string description_fault(std::string const& directory) {
    try {
        require_directory(directory);
        require_description(directory);
        return "";
    } catch (failure const& found) {
        return found.what();
    }
}

// Prints what goes wrong, and what is surprising.
class loading_observer final : public kivcore::load_observer {
  public:
    bool is_complete() const noexcept { return complete; }

    void failed(std::string const& directory, std::string const& reason) override {
        complete = false;
        say(load_fault(directory, reason, std::exchange(report, "")));
    }

    void replaced(std::string const& directory, std::string const& id,
                  std::string const& previous_directory) override {
        say(quoted(directory) + " replaces " + quoted(previous_directory) + " as " + id +
            ": a native plug-in replaces one that is not native");
    }

    void refused(std::string const& directory, std::string const& id,
                 std::string const& holder_directory, std::string const& reason) override {
        say(quoted(directory) + " is not registered as " + id +
            (holder_directory.empty() ? ": " + reason : refusal(directory, holder_directory)));
    }

    void xml_report(std::string const& directory, int /*severity*/, std::string const& message,
                    int line, int column) override {
        report = report_text(directory, message, line, column);
    }

  private:
    static std::string refusal(std::string const& directory, std::string const& holder) {
        std::error_code unknown;
        return fs::equivalent(directory, holder, unknown)
                   ? " a second time; name the directory once, and give each id once"
                   : ", which " + quoted(holder) +
                         " already is; remove one of them, or change its id";
    }

    std::string report;  // of the XML library, about the current directory
    bool complete = true;
};

// The plug-in directory that this is a part of; empty when there is none.
std::string enclosing_plugin(std::string const& directory) {
    std::pair<char const*, char const*> const ways[] = {{"..", "darwin"}, {"../..", "darwin/x86"}};
    for (auto const& [up, down] : ways) {
        auto const top = in(directory, up);
        std::error_code unknown;  // what is not there is not the same
        if (fs::equivalent(in(top, down), directory, unknown) && has_entry(top, k_description)) {
            return fs::path(top).lexically_normal().string();
        }
    }
    return "";
}

// What is one level too deep, or a plug-in directory without its description, would pass
// for a directory of plug-ins.
void require_collection(std::string const& directory, std::vector<std::string> const& names) {
    auto const misspelt = misspelt_description(names);
    if (!misspelt.empty()) {
        fail_for_spelling(directory, misspelt);
    }
    if (has_entry(directory, "darwin/x86/plugin.so")) {
        fail_for_missing_description(directory);
    }
    auto const enclosing = enclosing_plugin(directory);
    if (!enclosing.empty()) {
        throw failure(quoted(directory) + " is a part of the plug-in directory " +
                      quoted(enclosing) + "; name that one with -d");
    }
}

}  // namespace

std::string report_text(std::string const& directory, std::string const& message, int line,
                        int column) {
    return location{in(directory, k_description), line, column}.text() + ": " +
           message.substr(0, message.find('\n'));
}

std::string load_fault(std::string const& directory, std::string const& reason,
                       std::string const& report) {
    auto fault = description_fault(directory);
    if (!fault.empty()) {
        return fault;
    }
    // The file is there and can be read: only too little memory gives these reasons.
    bool const is_unexplained =
        reason == "unknown reason" || reason.rfind("Could not create xml reader ", 0) == 0;
    return quoted(directory) + " did not load whole" +
           (is_unexplained ? "; memory may have run out, try again with more"
                           : ": " + (report.empty() ? reason : report) + "; fix its plugin.xml");
}

void load_directory(kivcore::plugins& registry, std::string const& directory,
                    std::string const& origin, kivcore::load_observer& observer) {
    auto const names = entries_of(directory, origin);
    if (std::find(names.begin(), names.end(), k_description) != names.end()) {
        registry.load_plugin(directory, observer);
        return;
    }
    require_collection(directory, names);
    std::error_code error;
    if (!fs::exists(in(directory, "."), error) && error == std::errc::permission_denied) {
        fail_for_search(directory);
    }
    registry.load_plugins(directory, observer);
}

bool load(kivcore::plugins& registry, search_path const& path) {
    loading_observer observer;
    bool are_listed = true;
    for (auto const& directory : path.directories) {
        try {
            load_directory(registry, directory, path.origin, observer);
        } catch (failure const& error) {
            say(error.what());
            are_listed = false;
        }
    }
    return are_listed && observer.is_complete();
}

}  // namespace kivplug
