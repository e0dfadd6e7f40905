#include "why.h"

#include <algorithm>
#include <limits>
#include <map>
#include <set>
#include <utility>

#include <kivcore/plugins.h>

#include "check/check.h"
#include "check/report.h"
#include "check/wording.h"
#include "failure.h"
#include "load_story.h"
#include "loading.h"
#include "search_path.h"
#include "text.h"

namespace kivplug {

namespace {

constexpr char const* k_everything = "(?s).*";
constexpr char const* k_fields[] = {"category", "type", "key", "developer id", "version"};
constexpr std::size_t k_most_nearest = 3;

std::vector<std::string> fields_of(std::string const& id) {
    return split(id + '/', '/');
}

// The wanted id if it is one of these, otherwise the ids that a registry of them would find
// with it as a pattern.
std::vector<std::string> matching(std::vector<std::string> const& ids, std::string const& wanted) {
    if (std::find(ids.begin(), ids.end(), wanted) != ids.end()) {
        return {wanted};
    }
    kivcore::plugins candidates("");
    for (auto const& id : std::set<std::string>(ids.begin(), ids.end())) {
        if (fields_of(id).size() == std::size(k_fields)) {
            candidates.register_with_id(id, nullptr, "");
        }
    }
    return candidates.find_plugins(wanted);
}

// How an id differs from the wanted one.
struct difference {
    std::size_t fields = std::numeric_limits<std::size_t>::max();
    std::size_t letters = 0;
    std::string text = {};

    bool operator<(difference const& other) const {
        return fields != other.fields ? fields < other.fields : letters < other.letters;
    }
};

difference difference_of(std::string const& id, std::string const& wanted) {
    auto const have = fields_of(id);
    auto const want = fields_of(wanted);
    if (have.size() != std::size(k_fields) || want.size() != std::size(k_fields)) {
        return {std::size(k_fields), distance_between(id, wanted), ""};
    }
    difference found{0};
    for (std::size_t i = 0; i < std::size(k_fields); ++i) {
        if (have[i] != want[i]) {
            ++found.fields;
            found.letters += distance_between(have[i], want[i]);
            found.text += (found.text.empty() ? ": its " : ", and its ") +
                          std::string(k_fields[i]) + " is " + quoted(have[i]) + ", not " +
                          quoted(want[i]);
        }
    }
    return found;
}

// Answers for the ids of one registry. Every directory is checked once at most.
class explainer {
  public:
    explainer(byte_sink& sink, kivcore::plugins const& loaded, load_story const& observed)
        : out(sink), registry(loaded), story(observed) {}

    // Prints what is known about a registered id. Returns whether its objects can be created.
    bool explain_present(std::string const& id) {
        auto const directory = value_of(*registry.describe_plugin(id), "path");
        auto const& checked = checked_at(directory);
        auto const errors = errors_of(checked, id);
        bool const is_tried = !checked.steps.empty() && !checked.steps.back().is_skipped;
        std::string const outcome = !errors.empty() ? "  but something is wrong with it:\n" + errors
                                    : is_tried      ? "  its objects can be created\n"
                                               : "  whether its objects can be created was not "
                                                 "tried, because of other mistakes there; see "
                                                 "'kivplug check'\n";
        out.write(printable(id) + " is registered, from " + quoted(directory) + "\n" +
                  conflicts_of(id) + outcome);
        return errors.empty() && is_tried;
    }

    void explain_absent(std::string const& wanted) {
        std::string text = "no plug-in is registered as " + quoted(wanted) +
                           ", and no id matches it as a regular expression\n";
        auto const count = fields_of(wanted).size();
        if (count != std::size(k_fields)) {
            text += "  an id has five fields, CATEGORY/TYPE/KEY/DEVELOPER/VERSION; this has " +
                    std::to_string(count) + "\n";
        }
        auto const meant = meant_ids(wanted);
        for (auto const& id : meant) {
            auto const refused = conflicts_of(id);
            text += refused.empty() || id == wanted ? "" : "  " + printable(id) + ":\n";
            text += refused;
        }
        text += nearest_text(wanted);
        for (auto const& directory : story.not_loaded()) {
            auto const& checked = checked_at(directory);
            text += "  " + quoted(directory) + offer_text(checked, meant) +
                    " is not loaded, see above\n" + errors_of(checked, "");
        }
        out.write(text);
    }

  private:
    checked_directory const& checked_at(std::string const& directory) {
        auto const place = checks.find(directory);
        return place != checks.end()
                   ? place->second
                   : checks.emplace(directory, check_directory(directory)).first->second;
    }

    // The ids that match the wanted one, and were refused or are in a directory that was not
    // loaded.
    std::vector<std::string> meant_ids(std::string const& wanted) {
        std::vector<std::string> ids;
        for (auto const& [id, reason] : story.conflicts()) {
            ids.push_back(id);
        }
        for (auto const& directory : story.not_loaded()) {
            auto const there = all_ids(checked_at(directory));
            ids.insert(ids.end(), there.begin(), there.end());
        }
        return matching(ids, wanted);
    }

    // Which of the ids that are meant the directory has.
    static std::string offer_text(checked_directory const& checked,
                                  std::vector<std::string> const& meant) {
        std::string text;
        for (auto const& id : all_ids(checked)) {
            if (std::find(meant.begin(), meant.end(), id) != meant.end()) {
                text += (text.empty() ? " has " : ", ") + printable(id);
            }
        }
        return text.empty() ? "" : text + ", but";
    }

    // The errors of a check that concern the plug-in with this id, or all if the id is empty.
    static std::string errors_of(checked_directory const& checked, std::string const& id) {
        auto const has_id = [&](described_plugin const& each) {
            return std::find(each.ids.begin(), each.ids.end(), id) != each.ids.end();
        };
        auto const own = std::find_if(checked.plugins.begin(), checked.plugins.end(), has_id);
        int const first = own != checked.plugins.end() ? own->where.line : 0;
        int const last = own != checked.plugins.end() && own + 1 != checked.plugins.end()
                             ? (own + 1)->where.line
                             : std::numeric_limits<int>::max();
        std::string text;
        for (auto const& report : checked.steps) {
            for (auto const& each : report.found) {
                int const line = each.where.line;
                bool const is_own = line == 0 || (line >= first && line < last);
                if (rule_of(each.rule).weight == level::error && is_own) {
                    text += finding_text(each);
                }
            }
        }
        return text;
    }

    std::string conflicts_of(std::string const& id) const {
        std::string text;
        auto const [begin, end] = story.conflicts().equal_range(id);
        for (auto place = begin; place != end; ++place) {
            text += "  " + place->second + "\n";
        }
        return text;
    }

    // The registered ids that are most like the wanted one, and what is wrong with their plug-ins.
    std::string nearest_text(std::string const& wanted) {
        difference least;
        std::vector<std::pair<std::string, difference>> nearest;
        for (auto const& id : registry.find_plugins(k_everything)) {
            auto const found = difference_of(id, wanted);
            if (found < least) {
                least = found;
                nearest.clear();
            }
            if (!(least < found) && nearest.size() < k_most_nearest) {
                nearest.emplace_back(id, found);
            }
        }
        std::string text;
        for (auto const& [id, found] : nearest) {
            auto const directory = value_of(*registry.describe_plugin(id), "path");
            text += "  near it: " + printable(id) + ", from " + quoted(directory) + found.text +
                    "\n" + errors_of(checked_at(directory), id);
        }
        return text;
    }

    byte_sink& out;
    kivcore::plugins const& registry;
    load_story const& story;
    std::map<std::string, checked_directory> checks;
};

void load_all(kivcore::plugins& registry, search_path const& path, load_story& story) {
    for (auto const& directory : path.directories) {
        story.add_line("in " + quoted(directory) + ", " + path.origin + ":");
        try {
            load_directory(registry, directory, path.origin, story);
        } catch (failure const& error) {
            story.note_failure(directory, std::string("is not loaded: ") + error.what());
        }
    }
}

}  // namespace

bool why(byte_sink& out, std::vector<std::string> const& directories, why_options const& options) {
    auto const path = chosen_path(directories);
    kivcore::plugins registry(path.directories.front());
    load_story story;
    load_all(registry, path, story);
    for (auto const& line : story.lines()) {
        out.write((line.back() == ':' ? "" : "  ") + line + "\n");
    }
    auto const ids = registry.describe_plugin(options.id) ? std::vector<std::string>{options.id}
                                                          : registry.find_plugins(options.id);
    explainer answers(out, registry, story);
    if (ids.empty()) {
        answers.explain_absent(options.id);
        return false;
    }
    bool are_sound = true;
    for (auto const& id : ids) {
        are_sound = answers.explain_present(id) && are_sound;
    }
    return are_sound;
}

}  // namespace kivplug
