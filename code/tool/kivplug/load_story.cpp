#include "load_story.h"

#include <filesystem>
#include <system_error>
#include <utility>

#include "loading.h"
#include "text.h"

namespace kivplug {

void load_story::passed_over(std::string const& directory, std::string const& reason) {
    std::error_code unknown;
    if (std::filesystem::exists(directory + "/plugin.xml", unknown)) {
        note_failure(directory, "is passed over: " + reason + "; rename it");
    } else {
        story.push_back(quoted(directory) + " is passed over: " + reason);
    }
}

void load_story::loaded(std::string const& directory) {
    story.push_back(quoted(directory) + registered_ids());
}

void load_story::failed(std::string const& directory, std::string const& reason) {
    auto const fault = load_fault(directory, reason, std::exchange(report, ""));
    story.push_back(printable(fault) + (ids.empty() ? "" : "; before that it" + registered_ids()));
    failures.push_back(directory);
}

void load_story::registered(std::string const& /*directory*/, std::string const& id) {
    ids.push_back(id);
}

void load_story::replaced(std::string const& directory, std::string const& id,
                          std::string const& previous_directory) {
    disputes.emplace(id, quoted(directory) + " took it over from " + quoted(previous_directory) +
                             ": a native plug-in replaces one that is not native");
    ids.push_back(id);
}

void load_story::refused(std::string const& directory, std::string const& id,
                         std::string const& holder_directory, std::string const& reason) {
    disputes.emplace(
        id,
        quoted(directory) + " was refused it" +
            (holder_directory.empty() ? "" : ", because " + quoted(holder_directory) + " had it") +
            ": " + reason);
}

void load_story::xml_report(std::string const& directory, int /*severity*/,
                            std::string const& message, int line, int column) {
    report = report_text(directory, message, line, column);
}

void load_story::note_failure(std::string const& directory, std::string const& reason) {
    story.push_back(quoted(directory) + " " + printable(reason));
    std::error_code unknown;
    if (std::filesystem::is_directory(directory, unknown)) {
        failures.push_back(directory);
    }
}

std::string load_story::registered_ids() {
    std::string text;
    for (auto const& id : std::exchange(ids, {})) {
        text += (text.empty() ? "" : ", ") + printable(id);
    }
    return " registers " + (text.empty() ? "nothing" : text);
}

}  // namespace kivplug
