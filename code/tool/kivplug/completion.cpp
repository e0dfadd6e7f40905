#include "completion.h"

#include <CLI/CLI.hpp>

#include "host.h"
#include "text.h"

namespace kivplug {

namespace {

// What the words before the last one say.
struct typed {
    CLI::App const* verb = nullptr;
    CLI::Option const* unfinished = nullptr;  // an option whose value comes next
    std::size_t arguments = 0;                // of the verb
    std::vector<std::string> directories;
};

CLI::Option const* option_named(CLI::App const& app, typed const& before, std::string const& name) {
    auto const* const of_verb =
        before.verb != nullptr ? before.verb->get_option_no_throw(name) : nullptr;
    return of_verb != nullptr ? of_verb : app.get_option_no_throw(name);
}

void take(CLI::App const& app, typed& before, std::string const& word) {
    if (before.unfinished != nullptr) {
        if (before.unfinished->check_name("-d")) {
            before.directories.push_back(word);
        }
        before.unfinished = nullptr;
    } else if (word.substr(0, 1) == "-") {
        auto const* const option = option_named(app, before, word);
        bool const takes_value = option != nullptr && option->get_items_expected_max() > 0;
        before.unfinished = takes_value ? option : nullptr;
    } else if (before.verb == nullptr) {
        before.verb = verb_named(app, word);
    } else {
        ++before.arguments;
    }
}

CLI::Option const* argument_at(CLI::App const& verb, std::size_t position) {
    for (auto const* option : verb.get_options()) {
        if (option->get_positional() && position-- == 0) {
            return option;
        }
    }
    return nullptr;
}

class candidates {
  public:
    candidates(byte_sink& sink, std::string start) : out(sink), prefix(std::move(start)) {}

    void offer(std::string const& word, std::string const& meaning) {
        if (word.compare(0, prefix.size(), prefix) == 0) {
            out.write(word + "\t" + meaning.substr(0, meaning.find('\n')) + "\n");
        }
    }

    void offer_words(std::vector<std::string> const& words) {
        for (auto const& word : words) {
            offer(word, "");
        }
    }

    void offer_verbs(CLI::App const& app) {
        for (auto const* verb : app.get_subcommands({})) {
            if (!verb->get_group().empty()) {  // others are hidden
                offer(verb->get_name(), verb->get_description());
            }
        }
    }

    void offer_options(CLI::App const& app) {
        for (auto const* option : app.get_options()) {
            for (auto const& name : option->get_lnames()) {
                offer("--" + name, option->get_description());
            }
        }
    }

    void offer_ids(std::vector<std::string> const& directories) {
        host const from(directories);
        for (auto const& id : from.registry().find_plugins(".*")) {
            offer(id, value_of(*from.registry().describe_plugin(id), "info.name"));
        }
    }

  private:
    byte_sink& out;
    std::string prefix;
};

}  // namespace

CLI::App const* verb_named(CLI::App const& app, std::string const& name) {
    for (auto const* verb : app.get_subcommands({})) {
        if (verb->check_name(name)) {
            return verb;
        }
    }
    return nullptr;
}

void complete(CLI::App const& app, byte_sink& out, std::vector<std::string> const& words) {
    typed before;
    for (std::size_t i = 0; i + 1 < words.size(); ++i) {
        take(app, before, words[i]);
    }
    auto const last = words.empty() ? "" : words.back();
    candidates offered(out, last);
    std::string wanted;
    if (before.unfinished != nullptr) {
        wanted = before.unfinished->get_type_name();
    } else if (last.substr(0, 1) == "-") {
        offered.offer_options(app);
        if (before.verb != nullptr) {
            offered.offer_options(*before.verb);
        }
    } else if (before.verb == nullptr) {
        wanted = "VERB";
    } else if (auto const* const argument = argument_at(*before.verb, before.arguments)) {
        wanted = argument->get_name(true);
    }
    if (wanted == "VERB") {
        offered.offer_verbs(app);
    } else if (wanted == "ID") {
        offered.offer_ids(before.directories);
    } else if (wanted.find('|') != std::string::npos) {
        offered.offer_words(split(wanted, '|'));
    }
}

}  // namespace kivplug
