#include "arguments.h"

#include <sys/stat.h>

#include <algorithm>
#include <charconv>
#include <functional>
#include <sstream>
#include <system_error>
#include <tuple>
#include <vector>

#include <CLI/CLI.hpp>

#include "browse.h"
#include "check/check.h"
#include "completion.h"
#include "contract/contract.h"
#include "host.h"
#include "inspect.h"
#include "media.h"
#include "new_project.h"
#include "text.h"
#include "transfer.h"
#include "watch.h"
#include "why.h"

namespace kivplug {

namespace {

using namespace std::string_literals;

constexpr char const* k_directory_help =
    "Load the plug-ins in DIR, or DIR itself if it has a\n"
    "plugin.xml. May be given several times. The default\n"
    "is KIVPLUG_PATH (separated by colons), or else the\n"
    "plug-ins that were installed with kivplug";

constexpr char const* k_footer =
    "Exit status: 0 if everything was done, 1 if something failed, 2 if the command\n"
    "line is wrong. If a plug-in directory does not load, 'list' lists the others and\n"
    "ends with 1.";

constexpr char const* k_verb_footer =
    "-d DIR may also be given here. If no plug-in has the ID, it is taken as a regular\n"
    "expression for whole ids; the first match is used, the newest version first.";

struct command_line {
    std::vector<std::string> directories;
    list_options list;
    describe_options describe;
    read_options read;
    write_options write;
    browse_options browse;
    view_options tracks;
    frames_options frames;
    view_options files;
    view_options watch;
    check_options check;
    why_options why;
    contract_options contract;
    new_options project;
    std::string help;                // the verb to explain; empty for kivplug itself
    std::vector<std::string> typed;  // the words that a shell completes

    // Does what the chosen verb does. False when something in it was not as it should be, and all
    // about that has been printed.
    std::function<bool(byte_sink&)> work;
};

// Adds a verb. The callback runs during parsing and only records the work: words after the verb may
// still name plug-in directories, or be wrong. line owns what the work refers to, and outlives it.
template <typename work_type>
CLI::App& add_work(CLI::App& app, command_line& line, std::string const& name,
                   std::string const& help, work_type const& work) {
    auto* const verb = app.add_subcommand(name, help);
    verb->group("Verbs");
    verb->callback([&line, work] { line.work = work; });
    return *verb;
}

// Adds a verb that works with loaded plug-ins. They are loaded only when the verb starts: neither
// --help nor a misuse does so, whose text the notices would hide.
template <typename options_type>
CLI::App& add_verb(CLI::App& app, command_line& line, std::string const& name,
                   std::string const& help, options_type const& options,
                   void (*work)(host const&, byte_sink&, options_type const&)) {
    auto& verb = add_work(app, line, name, help, [&line, &options, work](byte_sink& out) {
        work(host(line.directories), out, options);
        return true;
    });
    verb.footer(k_verb_footer);
    return verb;
}

CLI::Option* add_word(CLI::App& verb, std::string const& name, std::string& word,
                      std::string const& help) {
    return verb.add_option(name, word, help)->required()->type_name("");
}

void add_id(CLI::App& verb, std::string& id, std::string const& help) {
    add_word(verb, "ID", id, help)->check([](std::string const& given) {
        return given.empty() ? "must not be empty" : "";
    });
}

// What most verbs work on: a plug-in, and what it opens.
template <typename options_type>
void add_place(CLI::App& verb, options_type& options, std::string const& plugin_help,
               std::string const& path = "PATH", std::string const& path_help = "What it opens") {
    add_id(verb, options.id, plugin_help);
    add_word(verb, path, options.path, path_help);
}

void add_json(CLI::App& verb, bool& json) {
    verb.add_flag("--json", json, "Print a JSON array of objects");
}

void add_output(CLI::App& verb, std::string& output) {
    verb.add_option("-o,--output", output, "Write to FILE, not to standard output")
        ->type_name("FILE");
}

// Decimal digits only: a leading 0 does not change the base. least: 0 or 1.
CLI::Option* add_amount(CLI::App& verb, std::string const& option, long long& amount,
                        std::string const& unit, std::string const& help, int least = 0) {
    auto const parse = [option, &amount, least](std::string const& text) {
        auto const* const end = text.data() + text.size();
        auto const parsed = std::from_chars(text.data(), end, amount);
        if (parsed.ec != std::errc() || parsed.ptr != end || amount < least) {
            throw CLI::ValidationError(option, "'" + text + "' is not a " +
                                                   (least > 0 ? "positive" : "non-negative") +
                                                   " number, or is too large");
        }
    };
    return verb.add_option_function<std::string>(option, parse, help)->type_name(unit);
}

// Accepts a word that names a file.
std::string not_empty(std::string const& word) {
    return word.empty() ? "it must not be empty" : "";
}

void add_list(CLI::App& app, command_line& line) {
    auto& verb = add_work(app, line, "list", "List the ids of plug-ins, flavors and names",
                          [&line](byte_sink& out) {
                              host const from(line.directories);
                              list(from, out, line.list);
                              return from.is_complete();
                          });
    verb.add_option("PATTERN", line.list.pattern, "Regular expression for whole ids [.*]")
        ->type_name("");
    add_json(verb, line.list.json);
    verb.footer("-d DIR may also be given here.");
}

void add_describe(CLI::App& app, command_line& line) {
    auto& verb = add_verb(app, line, "describe", "Show the description of a plug-in", line.describe,
                          describe);
    add_id(verb, line.describe.id, "The plug-in");
    verb.add_flag("--json", line.describe.json, "Print a JSON object");
}

void add_read(CLI::App& app, command_line& line) {
    auto& verb = add_verb(app, line, "read", "Print what a reader reads, or copy it to a file",
                          line.read, read);
    add_place(verb, line.read, "The reader");
    add_output(verb, line.read.output);
    add_amount(verb, "--offset", line.read.offset, "BYTES", "Start at this position");
    add_amount(verb, "--count", line.read.count, "BYTES", "Copy no more than this");
    verb.add_option("--mode", line.read.mode, "The mode to open with [r]")->type_name("MODE");
}

void add_write(CLI::App& app, command_line& line) {
    auto& verb = add_verb(app, line, "write", "Copy a file to a writer", line.write, write);
    add_place(verb, line.write, "The writer");
    verb.add_option("-i,--input", line.write.input, "Read FILE, not standard input")
        ->type_name("FILE");
    verb.add_option("--mode", line.write.mode, "The mode to open with [w]")->type_name("MODE");
}

void add_browse(CLI::App& app, command_line& line) {
    auto& verb = add_verb(app, line, "browse", "List what a browser finds", line.browse, browse);
    add_id(verb, line.browse.id, "The browser");
    verb.add_option("PATH", line.browse.path, "Where to look [where the browser starts]")
        ->type_name("");
    verb.add_flag("--long", line.browse.in_full,
                  "Also show what opens each entry, and what is known about it");
    verb.add_flag("--recursive", line.browse.recursive, "Also list what is in the directories");
    add_json(verb, line.browse.json);
}

void add_tracks(CLI::App& app, command_line& line) {
    auto& verb =
        add_verb(app, line, "tracks", "Show the tracks of a media file", line.tracks, tracks);
    add_place(verb, line.tracks, "The frame reader");
    add_json(verb, line.tracks.json);
}

void add_frames(CLI::App& app, command_line& line) {
    auto& verb = add_verb(app, line, "frames", "Print frames of a track, or copy them to a file",
                          line.frames, frames);
    add_place(verb, line.frames, "The frame reader");
    add_amount(verb, "--track", line.frames.track, "N", "The track, counted from 0")->required();
    add_amount(verb, "--from", line.frames.first, "FRAME", "Start here, counted from 0");
    add_amount(verb, "--count", line.frames.count, "FRAMES", "Copy no more than this");
    add_output(verb, line.frames.output);
}

void add_files(CLI::App& app, command_line& line) {
    auto& verb = add_verb(app, line, "files", "List the files that a reader joins to one stream",
                          line.files, files);
    add_place(verb, line.files, "The multi-file reader", "PATTERN");
    add_json(verb, line.files.json);
}

void add_watch(CLI::App& app, command_line& line) {
    auto& verb = add_verb(app, line, "watch",
                          "Print what a monitor reports, until it ends or is interrupted",
                          line.watch, watch);
    add_place(verb, line.watch, "The monitor", "PATH", "What it watches");
    verb.add_flag("--json", line.watch.json, "Print a JSON object on a line for each event");
}

void add_check(CLI::App& app, command_line& line) {
    auto& options = line.check;
    auto& verb = add_work(app, line, "check", "Look for mistakes in plug-in directories",
                          [&options](byte_sink& out) { return check(out, options); });
    verb.add_option("DIR", options.directories, "A plug-in directory, or a directory of them")
        ->type_name("")
        ->check(CLI::ExistingDirectory);
    add_json(verb, options.json);
    verb.add_option("--html", options.html, "Also write a page to FILE")
        ->type_name("FILE")
        ->check(not_empty);
    verb.add_flag("--strict", options.strict, "Also give advice");
    verb.add_flag("--description", options.descriptions_only,
                  "Check only the descriptions, not the shared objects");
    verb.add_flag("--quiet", options.quiet, "Print only directories in which something was found");
    add_amount(verb, "--time-limit", options.time_limit, "SECONDS",
               "End the trial of a directory after this time [10]");
    verb.add_flag("--codes", options.codes,
                  "Print every code with its cause and cure, nothing else");
    verb.parse_complete_callback([&app, &verb, &options] {
        if (app.count("-d") != 0) {
            throw CLI::ValidationError("-d", "check takes its directories as DIR");
        }
        if (options.codes && verb.parse_order().size() > 1) {
            throw CLI::ValidationError("--codes", "nothing else may be given with it");
        }
        if (!options.codes && options.directories.empty()) {
            throw CLI::RequiredError("DIR");
        }
    });
    verb.footer("Exit status: 0 if nothing was found, 1 if something was found.");
}

void add_why(CLI::App& app, command_line& line) {
    auto& verb = add_work(app, line, "why", "Explain why an id is registered, or is not",
                          [&line](byte_sink& out) { return why(out, line.directories, line.why); });
    add_id(verb, line.why.id, "The id, or a regular expression for whole ids");
    verb.footer(
        "-d DIR may also be given here. Exit status: 0 if the id is registered and its\n"
        "objects can be created, otherwise 1.");
}

// A writer must not touch anything that is there.
void refuse_existing(std::string const& path) {
    struct stat status = {};
    if (lstat(path.c_str(), &status) == 0) {
        throw CLI::ValidationError(
            "FILE", "'" + path + "' exists; a writer is tested on a FILE that is not there yet");
    }
}

void add_contract(CLI::App& app, command_line& line) {
    auto& options = line.contract;
    auto& verb = add_work(app, line, "contract", "Test a plug-in with random sequences of calls",
                          [&line](byte_sink& out) {
                              if (line.contract.write) {
                                  refuse_existing(line.contract.path);
                              }
                              return contract(host(line.directories), out, line.contract);
                          });
    add_place(verb, options, "The plug-in: a reader, unless an option says otherwise", "FILE",
              "What it opens");
    auto* const write = verb.add_flag("--write", options.write,
                                      "Test a writer; FILE is created, and removed at the end");
    auto* const frames = verb.add_flag("--frames", options.frames, "Test a frame reader");
    auto* const browse = verb.add_flag("--browse", options.browse, "Test a browser");
    frames->excludes(write)->excludes(browse);
    browse->excludes(write);
    verb.add_option("--read-with", options.read_with,
                    "The reader of what the writer writes [the one with\nthe same key, if any]")
        ->type_name("ID")
        ->needs(write);
    add_amount(verb, "--seed", options.seed, "N", "Seed of the first sequence [1]");
    add_amount(verb, "--sequences", options.sequences, "N", "Number of sequences [1000]", 1);
    add_amount(verb, "--timeout", options.timeout, "MS",
               "Time in milliseconds after which a call hangs [20000]", 1);
    add_json(verb, options.json);
    verb.footer("Exit status: 0 if the contract holds, otherwise 1.\n"s + k_verb_footer);
}

// An option with one of a few words, as its type.
void add_choice(CLI::App& verb, std::string const& option, std::string& chosen,
                std::vector<std::string> const& words, std::string const& help) {
    std::string choices;
    for (auto const& word : words) {
        choices += (choices.empty() ? "" : "|") + word;
    }
    auto const check = [words, choices](std::string const& word) {
        bool const is_known = std::find(words.begin(), words.end(), word) != words.end();
        return is_known ? "" : quoted(word) + " is not one of " + choices;
    };
    verb.add_option(option, chosen, help)->check(check)->type_name(choices);
}

void add_new(CLI::App& app, command_line& line) {
    auto& options = line.project;
    auto& verb =
        add_work(app, line, "new", "Make the project of a new plug-in", [&](byte_sink& out) {
            new_project(out, options);
            return true;
        });
    add_word(verb, "NAME", options.name, "The plug-in, and the directory to create");
    add_choice(verb, "--kind", options.kind, kinds_of_projects(), "What it is [reader]");
    add_choice(verb, "--flavor", options.flavor, {"native", "c-style"},
               "In C++, or a reader or writer in C [native]");
    add_choice(verb, "--build", options.build, {"cmake", "make"}, "What builds it [cmake]");
    for (auto const& [option, field, help] :
         {std::tuple{"--category", &options.category, "The category, in the id [io]"},
          {"--type", &options.type, "The type, in the id [that of the kind]"},
          {"--key", &options.key, "The key, in the id [NAME]"},
          {"--developer", &options.developer, "The developer, in the id [example]"}}) {
        verb.add_option(option, *field, help)->type_name("WORD");
    }
    verb.parse_complete_callback([&app, &options] {
        if (app.count("-d") != 0) {
            throw CLI::ValidationError("-d", "new loads no plug-ins");
        }
        if (auto const objection = objection_to(options); !objection.empty()) {
            throw CLI::ValidationError(objection, CLI::ExitCodes::ValidationError);
        }
    });
    verb.footer("Exit status: 0 if the project was made, otherwise 1.");
}

void add_help(CLI::App& app, command_line& line) {
    auto& verb = add_work(app, line, "help", "Print the help of a verb", [&](byte_sink& out) {
        auto const* const explained = verb_named(app, line.help);
        // app.help() would print the help of the verb that was given, which is this one.
        out.write(explained != nullptr ? explained->help(app.get_name())
                                       : app.get_formatter()->make_help(
                                             &app, app.get_name(), CLI::AppFormatMode::Normal));
        return true;
    });
    auto const check = [&app](std::string const& name) -> std::string {
        return verb_named(app, name) != nullptr ? "" : quoted(name) + " is not a verb of kivplug";
    };
    verb.add_option("VERB", line.help, "The verb [kivplug itself]")->type_name("")->check(check);
}

// For the shells only, so --help does not list it.
void add_complete(CLI::App& app, command_line& line) {
    auto& verb = add_work(app, line, "complete", "", [&](byte_sink& out) {
        complete(app, out, line.typed);
        return true;
    });
    verb.group("");
    verb.add_option("WORDS", line.typed);
}

// Makes app fill line when it parses. line must outlive app.
void add_arguments(CLI::App& app, command_line& line) {
    app.name("kivplug");
    app.footer(k_footer);
    app.require_subcommand(1);
    app.fallthrough();  // so that -d may follow the verb as well
    app.set_version_flag("--version", "kivplug " KIVPLUG_VERSION, "Print the version and exit");
    app.get_formatter()->label("SUBCOMMAND", "VERB");
    app.add_option("-d,--directory", line.directories, k_directory_help)
        ->type_name("DIR")
        ->option_text("DIR")
        ->allow_extra_args(false);  // the word after DIR is the verb
    for (auto* const add : {add_list, add_describe, add_read, add_write, add_browse, add_tracks,
                            add_frames, add_files, add_watch, add_check, add_why, add_contract,
                            add_new, add_help, add_complete}) {
        add(app, line);
    }
}

// What CLI11 says, but for verbs.
std::string reason_of(CLI::App const& app, CLI::ParseError const& error) {
    auto const words = app.remaining();
    bool const lacks_value = dynamic_cast<CLI::ArgumentMismatch const*>(&error) != nullptr;
    if (!app.get_subcommands().empty() || lacks_value) {
        return error.what();
    }
    return words.empty() ? "a verb is missing"
                         : quoted(words.front()) + " is not a verb of kivplug";
}

}  // namespace

bool carry_out(byte_sink& out, int count, char** words) {
    CLI::App app("Shows plug-ins and puts them to use.");
    command_line line;
    add_arguments(app, line);
    try {
        app.parse(count, words);
        return line.work(out);              // which may find misuse, too
    } catch (CLI::Success const& wanted) {  // --help, --version
        std::ostringstream text;
        app.exit(wanted, text, text);
        out.write(text.str());
        return true;
    } catch (CLI::ParseError const& error) {
        throw misuse(reason_of(app, error), app.help());
    }
}

}  // namespace kivplug
