#include "browser_subject.h"

#include <algorithm>
#include <utility>

#include "failure.h"
#include "text.h"

namespace kivplug {

namespace {

using kivcore::browser;
using entry_list = browser::entry_list;
using text_map = std::map<std::string, std::string>;

constexpr int k_longest = 16;  // sequence

// Enough to mix directories and files of several levels.
constexpr std::size_t k_most_places = 300;

constexpr char const* k_absent_name = "/there is no such entry";

constexpr char const* k_can =
    "kivcore/browser.h: can_browse says whether there is something at "
    "path that this browser can list";
constexpr char const* k_list =
    "kivcore/browser.h: get_list appends the directories and the files "
    "directly below path to the lists; a null list is not wanted";
constexpr char const* k_empty =
    "kivcore/browser.h: a path that is not there, or is a file's, has "
    "an empty list: can_browse tells it from a directory that is empty";
constexpr char const* k_info =
    "kivcore/browser.h: get_info fills info with what is known about "
    "path; other keys that info has stay";
constexpr char const* k_listed =
    "kivcore/browser.h: what is not there has no info and no url, and "
    "get_list gives what is there: directories and files";
constexpr char const* k_url =
    "kivcore/browser.h: get_url leaves url alone where there is no such "
    "file";
constexpr char const* k_nothing = "kivcore/browser.h: what is not there has no info and no url";

// Already there when a plug-in fills something in.
constexpr char const* k_kept = "kivplug: was there before";

std::string shown_list(entry_list const& entries) {
    std::string text;
    for (auto const& [name, path] : entries) {
        text += (text.empty() ? "" : ", ") + quoted(name) + ": " + quoted(path);
    }
    return "[" + text + "]";
}

std::string shown_info(text_map const& info) {
    std::string text;
    for (auto const& [key, value] : info) {
        text += (text.empty() ? "" : ", ") + quoted(key) + ": " + quoted(value);
    }
    return "{" + text + "}";
}

std::string shown_truth(bool truth) {
    return truth ? "true" : "false";
}

struct both_lists {
    entry_list directories;
    entry_list files;
};

std::string shown_lists(both_lists const& lists) {
    return "directories " + shown_list(lists.directories) + ", files " + shown_list(lists.files);
}

std::string called(char const* function, std::string const& path) {
    return std::string(function) + "(" + quoted(path) + ")";
}

// In any order: nothing is said about it.
bool are_same(entry_list one, entry_list other) {
    std::sort(one.begin(), one.end());
    std::sort(other.begin(), other.end());
    return one == other;
}

// The entry that was there is the first, and nothing else is.
bool is_appended(entry_list const& list, entry_list const& appended) {
    return !list.empty() && list.front().first == k_kept &&
           are_same(entry_list(list.begin() + 1, list.end()), appended);
}

void can_browse(browser& source, browsed_place const& at, trace const& log) {
    bool const can = log.ask_for(
        called("can_browse", at.path), [&] { return source.can_browse(at.path); }, shown_truth);
    require(can == at.can_browse, shown_truth(at.can_browse) + ", as before", k_can);
}

void list(browser& source, browsed_place const& at, trace const& log) {
    both_lists const before = {{{k_kept, ""}}, {{k_kept, ""}}};
    auto const lists = log.ask_for(
        called("get_list", at.path) + " into lists that have an entry each",
        [&] {
            auto filled = before;
            source.get_list(at.path, &filled.directories, &filled.files);
            return filled;
        },
        shown_lists);
    require(is_appended(lists.directories, at.directories) && is_appended(lists.files, at.files),
            "the lists as they were, and " + shown_lists({at.directories, at.files}),
            at.can_browse ? k_list : k_empty);
}

void list_one_kind(browser& source, browsed_place const& at, bool files, trace const& log) {
    auto const entries = log.ask_for(
        called(files ? "list_files" : "list_dirs", at.path),
        [&] { return files ? source.list_files(at.path) : source.list_dirs(at.path); }, shown_list);
    auto const& expected = files ? at.files : at.directories;
    require(are_same(entries, expected), shown_list(expected) + ", as in both lists",
            at.can_browse ? k_list : k_empty);
}

void info(browser& source, browsed_place const& at, trace const& log) {
    auto const known = log.ask_for(
        called("get_info", at.path) + " into an info that has a key",
        [&] {
            text_map filled = {{k_kept, k_kept}};
            source.get_info(at.path, filled);
            return filled;
        },
        shown_info);
    auto expected = at.info;
    expected[k_kept] = k_kept;
    require(known == expected, shown_info(expected), at.is_absent ? k_nothing : k_info);
    require(!at.needs_info || !at.info.empty(), "an info: this is listed as a file", k_listed);
    auto const type = at.info.find("type");
    bool const is_other = type != at.info.end() && ((at.is_file && type->second == "directory") ||
                                                    (at.is_directory && type->second == "file"));
    require(
        !is_other,
        at.is_file ? "a type of a file, as it is listed" : "a type of a directory, as it is listed",
        k_listed);
}

void url(browser& source, browsed_place const& at, trace const& log) {
    auto const filled = log.ask_for(
        called("get_url", at.path) + " into a url that has a text",
        [&] {
            std::string text = k_kept;
            source.get_url(at.path, text);
            return text;
        },
        quoted);
    auto const& expected = at.url.empty() ? std::string(k_kept) : at.url;
    require(filled == expected, quoted(expected), at.is_absent ? k_nothing : k_url);
}

// Where the answers do not agree with each other, the contract says which of them is wrong.
void correct(browsed_place& at) {
    at.directories = at.can_browse ? at.directories : entry_list();
    at.files = at.can_browse ? at.files : entry_list();
    at.is_absent = at.is_absent && !at.can_browse;
    at.info = at.is_absent ? text_map() : at.info;
    at.url = at.is_absent || at.is_directory ? "" : at.url;
}

// The answers to the plainest questions.
browsed_place learned(browser& source, trace const& log, browsed_place at) {
    auto const& path = at.path;
    at.can_browse = log.ask_for(
        called("can_browse", path), [&] { return source.can_browse(path); }, shown_truth);
    auto lists = log.ask_for(
        called("list", path),
        [&] {
            auto [directories, files] = source.list(path);
            return both_lists{std::move(directories), std::move(files)};
        },
        shown_lists);
    at.directories = std::move(lists.directories);
    at.files = std::move(lists.files);
    at.info = log.ask_for(
        called("info", path), [&] { return source.info(path); }, shown_info);
    at.url = log.ask_for(
        called("url", path), [&] { return source.url(path); }, quoted);
    correct(at);
    return at;
}

void queue(std::vector<browsed_place>& waiting, browsed_place const& above) {
    for (auto const& directory : above.directories) {
        bool const is_file =
            std::any_of(above.files.begin(), above.files.end(),
                        [&](auto const& file) { return file.second == directory.second; });
        waiting.emplace_back();
        waiting.back().path = directory.second;
        waiting.back().is_directory = !is_file;
    }
    for (auto const& file : above.files) {
        waiting.emplace_back();
        waiting.back().path = file.second;
        waiting.back().is_file = true;
    }
}

// Where files have an info, a listed one that has none, no url and nothing below it is not there.
void require_infos(std::vector<browsed_place>& known) {
    bool const have_infos = std::any_of(known.begin(), known.end(), [](auto const& each) {
        return each.is_file && !each.info.empty();
    });
    for (auto& each : known) {
        each.needs_info = have_infos && each.is_file && each.url.empty() && !each.can_browse;
    }
}

}  // namespace

browser_subject::browser_subject(host const& from, place browsed)
    : where(std::move(browsed)), make([&from, id = where.id] {
          return from.create<browser>(id, kivcore::plugin::k_kind_browser);
      }) {}

void browser_subject::prepare(trace const& log) {
    auto const source = make();
    browsed_place start;
    start.path = !where.path.empty() ? where.path
                                     : log.ask_for(
                                           "root()", [&] { return source->root(); }, quoted);
    browsed_place absent;
    absent.path = start.path + k_absent_name;
    absent.is_absent = true;
    known.push_back(learned(*source, log, absent));
    std::vector<browsed_place> waiting = {start};
    for (std::size_t i = 0; i < waiting.size() && i < k_most_places; ++i) {
        try {
            known.push_back(learned(*source, log, waiting[i]));
            queue(waiting, known.back());
        } catch (unanswered const&) {
            // What may not be listed, for example, may be refused by an exception.
        }
    }
    require_infos(known);
    if (known.size() < 2 || !known[1].can_browse) {
        throw failure(where.describe("can_browse") +
                      " says that there is nothing to browse; check that it is there, intact and "
                      "of the kind that this plug-in browses");
    }
}

calls browser_subject::generate(dice& random) const {
    static constexpr verb k_verbs[] = {verb::can_browse, verb::list, verb::list_one_kind,
                                       verb::info, verb::url};
    calls sequence(static_cast<std::size_t>(1 + random.below(k_longest)));
    for (auto& each : sequence) {
        each = {random.one_of(k_verbs), 0, static_cast<int>(random.below(2)),
                random.below(static_cast<long long>(known.size()))};
    }
    return sequence;
}

void browser_subject::make_call(browser& source, call const& wanted, trace const& log) const {
    auto const index = static_cast<unsigned long long>(wanted.number) % known.size();
    auto const& at = known[index];
    switch (wanted.what) {
        case verb::can_browse:
            return can_browse(source, at, log);
        case verb::list:
            return list(source, at, log);
        case verb::list_one_kind:
            return list_one_kind(source, at, wanted.origin != 0, log);
        case verb::info:
            return info(source, at, log);
        default:
            return url(source, at, log);
    }
}

void browser_subject::run(calls const& sequence, trace const& log) const {
    auto const source = make();
    for (auto const& each : sequence) {
        make_call(*source, each, log);
    }
}

}  // namespace kivplug
