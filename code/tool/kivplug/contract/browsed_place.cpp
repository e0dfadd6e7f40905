#include "browsed_place.h"

#include <algorithm>
#include <utility>

#include "text.h"

namespace kivplug {

namespace {

using kivcore::browser;
using entry_list = browser::entry_list;
using text_map = std::map<std::string, std::string>;

constexpr char const* k_can =
    "kivcore/browser.h: can_browse says whether path is something that this browser can list";
constexpr char const* k_list =
    "kivcore/browser.h: get_list appends the directories and the files directly below path to the "
    "lists; null means a list that is not needed";
constexpr char const* k_empty =
    "kivcore/browser.h: the list of a path that does not exist, or is a file, is empty; can_browse "
    "distinguishes it from an empty directory";
constexpr char const* k_info =
    "kivcore/browser.h: get_info adds what is known about path to info; other keys in info stay";
constexpr char const* k_listed =
    "kivcore/browser.h: get_list returns directories and files that exist; a path that does not "
    "exist has no info and no url";
constexpr char const* k_url =
    "kivcore/browser.h: get_url leaves url unchanged if there is no such file";
constexpr char const* k_nothing =
    "kivcore/browser.h: a path that does not exist has no info and no url";

// What a list, an info and a url contain before the plug-in fills them.
constexpr char const* k_kept = "kivplug: was there before";

struct both_lists {
    entry_list directories;
    entry_list files;
};

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

std::string shown_lists(both_lists const& lists) {
    return "directories " + shown_list(lists.directories) + ", files " + shown_list(lists.files);
}

std::string called(char const* function, std::string const& path) {
    return std::string(function) + "(" + quoted(path) + ")";
}

// In any order: the contract does not define it.
bool are_same(entry_list one, entry_list other) {
    std::sort(one.begin(), one.end());
    std::sort(other.begin(), other.end());
    return one == other;
}

// Whether the entry that was there is still first, and the others follow.
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
            "the entries that were there, and " + shown_lists({at.directories, at.files}),
            at.can_browse ? k_list : k_empty);
}

void list_one_kind(browser& source, browsed_place const& at, bool files, trace const& log) {
    auto const entries = log.ask_for(
        called(files ? "list_files" : "list_dirs", at.path),
        [&] { return files ? source.list_files(at.path) : source.list_dirs(at.path); }, shown_list);
    auto const& expected = files ? at.files : at.directories;
    require(are_same(entries, expected),
            shown_list(expected) + ", as when both lists are asked for",
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
    require(!at.needs_info || !at.info.empty(), "an info, because this is listed as a file",
            k_listed);
    auto const type = at.info.find("type");
    bool const is_other = type != at.info.end() && ((at.is_file && type->second == "directory") ||
                                                    (at.is_directory && type->second == "file"));
    require(!is_other,
            at.is_file ? "the type of a file, as listed" : "the type of a directory, as listed",
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

// If the answers contradict each other, the contract says which one is wrong.
void correct(browsed_place& at) {
    at.directories = at.can_browse ? at.directories : entry_list();
    at.files = at.can_browse ? at.files : entry_list();
    at.is_absent = at.is_absent && !at.can_browse;
    at.info = at.is_absent ? text_map() : at.info;
    at.url = at.is_absent || at.is_directory ? "" : at.url;
}

}  // namespace

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

void make_call(browser& source, call const& wanted, browsed_place const& at, trace const& log) {
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

}  // namespace kivplug
