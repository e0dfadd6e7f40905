// A record of what happened while plug-ins were loaded.

#ifndef KIVPLUG_LOAD_STORY_H
#define KIVPLUG_LOAD_STORY_H

#include <map>
#include <string>
#include <vector>

#include <kivcore/load_observer.h>

namespace kivplug {

class load_story final : public kivcore::load_observer {
  public:
    void passed_over(std::string const& directory, std::string const& reason) override;
    void loaded(std::string const& directory) override;
    void failed(std::string const& directory, std::string const& reason) override;
    void registered(std::string const& directory, std::string const& id) override;
    void replaced(std::string const& directory, std::string const& id,
                  std::string const& previous_directory) override;
    void refused(std::string const& directory, std::string const& id,
                 std::string const& holder_directory, std::string const& reason) override;
    void xml_report(std::string const& directory, int severity, std::string const& message,
                    int line, int column) override;

    // A directory that was not searched or not loaded.
    void note_failure(std::string const& directory, std::string const& reason);

    // Adds a line, for example about a directory of plug-ins.
    void add_line(std::string const& line) { story.push_back(line); }

    // One line for each directory and each of its entries, in order.
    std::vector<std::string> const& lines() const noexcept { return story; }

    // Directories that may hold plug-ins, and were not loaded.
    std::vector<std::string> const& not_loaded() const noexcept { return failures; }

    // From an id to why it was replaced or refused.
    std::multimap<std::string, std::string> const& conflicts() const noexcept { return disputes; }

  private:
    // Takes the ids that the current directory has registered, as the end of its line.
    std::string registered_ids();

    std::vector<std::string> story;
    std::vector<std::string> failures;
    std::multimap<std::string, std::string> disputes;
    std::vector<std::string> ids;
    std::string report;  // of the XML library, about the current directory
};

}  // namespace kivplug

#endif
