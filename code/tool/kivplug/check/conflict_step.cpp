#include "conflict_step.h"

#include <filesystem>
#include <map>
#include <system_error>
#include <utility>

#include "kivcore/src/description.h"
#include "reporter.h"

namespace kivplug {

namespace {

constexpr std::size_t k_most_findings = 100;  // for one directory

// A plug-in, and the directory that it is in.
struct owner {
    std::size_t directory;
    described_plugin const* plugin;

    bool is_native() const { return plugin->flavor == kivcore::k_native; }
};

// Loads all plug-ins as a registry does, and says which do not get their ids.
class registry {
  public:
    explicit registry(std::vector<checked_directory> const& all)
        : directories(all), reports(all.size(), step_report{step::conflicts}) {}

    // One report for each directory.
    std::vector<step_report> load() {
        for (std::size_t i = 0; i < directories.size(); ++i) {
            for (auto const& plugin : directories[i].plugins) {
                enter({i, &plugin});
            }
        }
        return std::move(reports);
    }

  private:
    // The first id that is taken ends the list.
    void enter(owner const& entering) {
        for (auto const& id : entering.plugin->ids) {
            auto const [place, is_new] = holders.emplace(id, entering);
            auto& holder = place->second;
            if (is_new) {
                continue;
            }
            if (holder.plugin == entering.plugin || is_same_directory(holder, entering)) {
                return;
            }
            if (!entering.is_native() || holder.is_native()) {
                report(id, entering, holder);
                return;
            }
            report(id, holder, entering);
            holder = entering;
        }
    }

    // A directory that is named twice does not conflict with itself.
    bool is_same_directory(owner const& one, owner const& other) const {
        std::error_code unknown;
        return one.directory != other.directory &&
               std::filesystem::equivalent(directories[one.directory].path,
                                           directories[other.directory].path, unknown);
    }

    void report(std::string const& id, owner const& loser, owner const& winner) {
        bool const is_by_flavor = winner.is_native() && !loser.is_native();
        bool const is_in_one = winner.directory == loser.directory;
        std::string const other = winner.plugin->where.text();
        std::string problem = "the id " + named(id) + " is also that of " + other;
        if (is_by_flavor) {
            problem += ", which is native and takes it from this one, whichever is loaded first";
        } else if (is_in_one) {
            problem += ", which comes first and keeps it";
        } else {
            problem +=
                ": the one that is loaded first keeps it, in the order in which the file system "
                "lists the directories, which is not fixed";
        }
        if (reports[loser.directory].found.size() >= k_most_findings) {
            return;
        }
        int const rule = is_by_flavor ? 201 : is_in_one ? 202 : 200;
        reports[loser.directory].found.push_back(
            {rule, loser.plugin->where, problem, "change the key of one of them, or remove one"});
    }

    std::vector<checked_directory> const& directories;
    std::vector<step_report> reports;
    std::map<std::string, owner> holders;
};

}  // namespace

void check_conflicts(std::vector<checked_directory>& all) {
    auto const reports = registry(all).load();
    for (std::size_t i = 0; i < all.size(); ++i) {
        all[i].steps.push_back(reports[i]);
    }
}

}  // namespace kivplug
