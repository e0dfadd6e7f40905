#include "browse.h"

#include <algorithm>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include <kivcore/browser.h>

#include "failure.h"
#include "json.h"
#include "operation.h"
#include "text.h"

namespace kivplug {

namespace {

using kivcore::browser;

// Where a directory that contains itself under ever new paths is given up.
constexpr std::size_t k_deepest = 4096;

std::map<std::string, std::string> info_of(browser& source, place const& where) {
    std::map<std::string, std::string> info;
    guarded(where, {"get_info", k_check_intact}, [&] { source.get_info(where.path, info); });
    return info;
}

struct directory {
    std::string path;  // the browser's
    std::string name;  // below the start, with a slash at its end; empty for the start
    std::size_t depth;
};

struct entry {
    std::string name;
    std::string path;
    std::string url;
    std::map<std::string, std::string> info;
    bool is_directory;
};

// What is still to be listed is in a vector and not on the call stack: the input decides how deep
// directories are.
class walk {
  public:
    // into: null when lines are printed.
    walk(browser& browsed, std::string const& plugin_id, byte_sink& sink, json_array* into,
         browse_options const& wanted)
        : source(browsed), id(plugin_id), out(sink), array(into), options(wanted) {}

    void start(std::string const& path);

  private:
    void list(directory const& place);
    void remember(browser::entry_list const& directories, directory const& place);
    void show(browser::entry_list const& found, directory const& place, bool are_directories);
    void learn(entry& known);
    void add_to_array(entry const& shown);
    void add_row(entry const& shown);

    browser& source;
    std::string const& id;
    byte_sink& out;
    json_array* array;
    browse_options const& options;
    std::vector<directory> waiting;              // the next one last
    std::set<std::string> seen;                  // paths of directories that were or will be listed
    std::vector<std::vector<std::string>> rows;  // of one directory: columns need all of them
};

void walk::start(std::string const& path) {
    seen.insert(path);
    waiting.push_back({path, "", 0});
    while (!waiting.empty()) {
        directory const next = std::move(waiting.back());
        waiting.pop_back();
        list(next);
    }
}

void walk::list(directory const& place) {
    browser::entry_list directories;
    browser::entry_list files;
    guarded({id, place.path}, {"get_list", k_check_intact},
            [&] { source.get_list(place.path, &directories, &files); });
    if (options.recursive) {
        remember(directories, place);
    }
    show(directories, place, true);
    show(files, place, false);
    out.write(table(std::exchange(rows, {}), 2));
}

// JSON is written entry by entry: what is known about all of them may be larger than memory.
void walk::show(browser::entry_list const& found, directory const& place, bool are_directories) {
    for (auto const& [name, path] : found) {
        entry shown{place.name + name, path, "", {}, are_directories};
        if (are_directories) {
            shown.name += '/';
        }
        if (options.in_full) {
            learn(shown);
        }
        array != nullptr ? add_to_array(shown) : add_row(shown);
    }
}

void walk::learn(entry& known) {
    place const where{id, known.path};
    known.info = info_of(source, where);
    guarded(where, {"get_url", k_check_intact}, [&] { source.get_url(known.path, known.url); });
}

// From the last to the first, so that the first is listed next.
void walk::remember(browser::entry_list const& directories, directory const& place) {
    auto const first = waiting.size();
    for (auto const& [name, path] : directories) {
        if (seen.insert(path).second) {
            waiting.push_back({path, place.name + name + '/', place.depth + 1});
        }
    }
    if (waiting.size() > first && place.depth >= k_deepest) {
        throw failure(printable(id) + ": directories lie more than " + std::to_string(k_deepest) +
                      " deep at " + quoted(place.path) +
                      "; if they do not hold themselves, browse on from there");
    }
    std::reverse(waiting.begin() + static_cast<std::ptrdiff_t>(first), waiting.end());
}

// In the order of their keys, on one line.
std::string facts(std::map<std::string, std::string> const& info) {
    std::string text;
    for (auto const& [key, value] : info) {
        text.append(text.empty() ? "" : ", ").append(key).append(": ").append(value);
    }
    return text;
}

void walk::add_row(entry const& shown) {
    rows.push_back({shown.name});
    if (options.in_full) {
        rows.back().push_back(shown.url.empty() ? shown.path : shown.url);
        rows.back().push_back(facts(shown.info));
    }
}

void walk::add_to_array(entry const& shown) {
    json_object object;
    object.add("name", shown.name);
    object.add("path", shown.path);
    object.add("type", shown.is_directory ? "directory" : "file");
    if (options.in_full) {
        object.add("url", shown.url);
        object.add("info", shown.info);
    }
    array->add(object);
}

// A browser may report damage for the place where browsing starts, as that of archives does. The
// list is then incomplete. `limit` tells a limit of the plug-in from damage.
void report_damage(browser& source, place const& where) {
    auto const info = info_of(source, where);
    auto const damage = info.find("damage");
    if (damage != info.end()) {
        bool const is_limit = info.count("limit") != 0;
        throw failure(quoted(where.path) + " is not listed whole: " + printable(damage->second) +
                      (is_limit ? "; this is a limit of the plug-in, see its plugin.xml"
                                : "; get a whole copy"));
    }
}

// The path that was given, or else the browser's own root.
std::string start_of(browser& source, place const& where) {
    if (!where.path.empty()) {
        return where.path;
    }
    auto root = guarded(where, {"root", k_report_fault}, [&] { return source.root(); });
    if (root.empty()) {
        throw failure(printable(where.id) + " has no place of its own to start from; give a PATH");
    }
    return root;
}

}  // namespace

void browse(host const& from, byte_sink& out, browse_options const& options) {
    std::string const id = from.resolve(options.id);
    auto const source = from.create<browser>(id, kivcore::plugin::k_kind_browser);
    place const where{id, start_of(*source, {id, options.path})};
    // Asked first: an empty list does not say whether there is a directory.
    if (!guarded(where, {"can_browse", k_check_intact},
                 [&] { return source->can_browse(where.path); })) {
        throw failure(printable(where.id) + ": there is nothing to browse at " +
                      quoted(where.path) +
                      "; check that it is there, intact and of the kind that this plug-in browses");
    }
    print_items(out, options.json, [&](json_array* array) {
        walk(*source, id, out, array, options).start(where.path);
    });
    report_damage(*source, where);
}

}  // namespace kivplug
