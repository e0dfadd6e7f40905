// kivplug: shows plug-ins and puts them to use from the command line. Here the
// arguments are read and handed to the verbs; a new verb is its options, one
// function that adds it below, and its work in a source of its own.

#include <charconv>
#include <cstdio>
#include <exception>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "descriptor.h"
#include "failure.h"
#include "host.h"
#include "inspect.h"
#include "output.h"
#include "text.h"
#include "transfer.h"

namespace {

enum e_status : int { k_done = 0, k_failed = 1, k_misused = 2 };

struct command_line {
    std::vector<std::string> directories;
    kivplug::list_options list;
    kivplug::describe_options describe;
    kivplug::read_options read;
    kivplug::write_options write;

    // The verb that was chosen.
    std::function<void(kivplug::host const&, kivplug::byte_sink&)> work;
};

constexpr char const* k_directory_help =
    "Load the plug-ins of DIR, or DIR itself when it\n"
    "holds a plugin.xml; may be repeated. The default is\n"
    "KIVPLUG_PATH (colon-separated), then kivplug's own";

constexpr char const* k_verb_footer =
    "-d DIR may stand here too. An ID that no plug-in has is taken as a regular\n"
    "expression for whole ids; the first match counts, newest version first.";

// Decimal digits only: a leading 0 does not change the base.
void add_amount(CLI::App& verb, std::string const& option, long long& amount,
                std::string const& help) {
    auto const parse = [option, &amount](std::string const& text) {
        auto const* const end = text.data() + text.size();
        auto const parsed = std::from_chars(text.data(), end, amount);
        if (parsed.ec != std::errc() || parsed.ptr != end || amount < 0) {
            throw CLI::ValidationError(option, "'" + text + "' is no number of bytes");
        }
    };
    verb.add_option_function<std::string>(option, parse, help)->type_name("BYTES");
}

void add_list(CLI::App& app, command_line& line) {
    auto* const verb = app.add_subcommand("list", "List the ids of plug-ins, flavors and names");
    verb->add_option("PATTERN", line.list.pattern, "Regular expression for whole ids [.*]")
        ->type_name("");
    verb->add_flag("--json", line.list.json, "Print a JSON array of objects");
    verb->footer("-d DIR may stand here too.");
    verb->callback([&line] {
        line.work = [&line](auto const& host, auto& out) { kivplug::list(host, out, line.list); };
    });
}

void add_describe(CLI::App& app, command_line& line) {
    auto* const verb = app.add_subcommand("describe", "Show what a plug-in says about itself");
    verb->add_option("ID", line.describe.id, "The plug-in")->required()->type_name("");
    verb->add_flag("--json", line.describe.json, "Print a JSON object");
    verb->footer(k_verb_footer);
    verb->callback([&line] {
        line.work = [&line](auto const& host, auto& out) {
            kivplug::describe(host, out, line.describe);
        };
    });
}

void add_read(CLI::App& app, command_line& line) {
    auto* const verb = app.add_subcommand("read", "Copy what a reader gives to a file");
    verb->add_option("ID", line.read.id, "The reader")->required()->type_name("");
    verb->add_option("PATH", line.read.path, "What it opens")->required()->type_name("");
    verb->add_option("-o,--output", line.read.output, "Write to FILE, not to standard output")
        ->type_name("FILE");
    add_amount(*verb, "--offset", line.read.offset, "Start this far into the data");
    add_amount(*verb, "--count", line.read.count, "Copy no more than this");
    verb->add_option("--mode", line.read.mode, "The mode to open with [r]")->type_name("MODE");
    verb->footer(k_verb_footer);
    verb->callback([&line] {
        line.work = [&line](auto const& host, auto& out) { kivplug::read(host, out, line.read); };
    });
}

void add_write(CLI::App& app, command_line& line) {
    auto* const verb = app.add_subcommand("write", "Copy a file to a writer");
    verb->add_option("ID", line.write.id, "The writer")->required()->type_name("");
    verb->add_option("PATH", line.write.path, "What it opens")->required()->type_name("");
    verb->add_option("-i,--input", line.write.input, "Read FILE, not standard input")
        ->type_name("FILE");
    verb->add_option("--mode", line.write.mode, "The mode to open with [w]")->type_name("MODE");
    verb->footer(k_verb_footer);
    verb->callback([&line] {
        line.work = [&line](auto const& host, auto&) { kivplug::write(host, line.write); };
    });
}

void add_arguments(CLI::App& app, command_line& line) {
    app.name("kivplug");
    app.require_subcommand(1);
    app.fallthrough();
    app.set_version_flag("--version", "kivplug " KIVPLUG_VERSION, "Print the version and exit");
    app.get_formatter()->label("SUBCOMMAND", "VERB");
    app.add_option("-d,--directory", line.directories, k_directory_help)
        ->type_name("DIR")
        ->allow_extra_args(false);
    add_list(app, line);
    add_describe(app, line);
    add_read(app, line);
    add_write(app, line);
    for (auto* const verb : app.get_subcommands(nullptr)) {
        verb->group("Verbs");
    }
}

// What is wrong, and the usage of the verb if there is one.
int report_misuse(CLI::App const& app, CLI::ParseError const& error) {
    std::string reason = error.what();
    auto const words = app.remaining();
    if (app.get_subcommands().empty()) {
        reason = words.empty() ? "a verb is missing"
                               : kivplug::quoted(words.front()) + " is not a verb of kivplug";
    }
    std::fprintf(stderr, "kivplug: %s\n\n%s", reason.c_str(), app.help().c_str());
    return k_misused;
}

int run(CLI::App& app, command_line& line, kivplug::byte_sink& out, int count, char** words) {
    try {
        app.parse(count, words);
        line.work(kivplug::host(line.directories), out);
    } catch (CLI::Success const& wanted) {  // --help, --version
        std::ostringstream text;
        app.exit(wanted, text, text);
        out.write(text.str());
    } catch (CLI::ParseError const& error) {
        return report_misuse(app, error);
    }
    out.finish();
    return k_done;
}

int report_failure(std::string message) {
    message.erase(message.find_last_not_of(" \n") + 1);
    std::fprintf(stderr, "kivplug: %s\n", kivplug::printable(message).c_str());
    return k_failed;
}

}  // namespace

int main(int count, char** words) {
    try {
        kivplug::byte_sink out = kivplug::take_standard_output();
        CLI::App app("Shows plug-ins and reads and writes through them.");
        command_line line;
        add_arguments(app, line);
        return run(app, line, out, count, words);
    } catch (kivplug::output_closed const&) {
        return k_failed;
    } catch (std::exception const& error) {
        return report_failure(error.what());
    }
}
