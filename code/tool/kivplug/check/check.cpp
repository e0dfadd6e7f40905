#include "check/check.h"

#include <algorithm>
#include <chrono>

#include "binary_step.h"
#include "conflict_step.h"
#include "description_step.h"
#include "failure.h"
#include "html_report.h"
#include "json.h"
#include "notices.h"
#include "plugin_directories.h"
#include "report.h"
#include "system_calls.h"
#include "trial_step.h"

namespace kivplug {

namespace {

checked_directory described(std::string const& path) {
    checked_directory checked{path};
    step_report report{step::description};
    checked.plugins = check_description(path, report.found);
    checked.steps.push_back(report);
    return checked;
}

bool has_error(step_report const& report) {
    return std::any_of(report.found.begin(), report.found.end(), [](finding const& each) {
        return rule_of(each.rule).weight == level::error;
    });
}

auto has_consequence(consequence wanted) {
    return [=](finding const& each) { return rule_of(each.rule).then == wanted; };
}

bool has(step_report const& report, consequence wanted) {
    return std::any_of(report.found.begin(), report.found.end(), has_consequence(wanted));
}

template <typename predicate>
void drop(step_report& report, predicate const& is_dropped) {
    auto& found = report.found;
    found.erase(std::remove_if(found.begin(), found.end(), is_dropped), found.end());
}

// Adds the reports of the steps that need the shared object. A mistake that explains others is
// reported alone, and an object with a known fault is not tried.
void check_code(checked_directory& checked, std::chrono::seconds trial_time) {
    auto const& description = checked.steps.front();
    step_report binary{step::binary};
    step_report trial{step::trial};
    binary.is_skipped = checked.plugins.empty() && has(description, consequence::object_unknown);
    if (!binary.is_skipped) {
        check_binary(checked.path, checked.plugins, binary.found);
    }
    trial.is_skipped = checked.plugins.empty() || has_error(description) || has_error(binary);
    if (!trial.is_skipped) {
        check_trial(checked.path, checked.plugins, trial_time, trial.found);
    }
    if (has(binary, consequence::object_kept)) {
        drop(trial, has_consequence(consequence::object_kept));
    }
    checked.steps.push_back(binary);
    checked.steps.push_back(trial);
}

void drop_advice(checked_directory& checked) {
    for (auto& report : checked.steps) {
        drop(report,
             [](finding const& each) { return rule_of(each.rule).weight == level::advice; });
    }
}

bool is_clean(checked_directory const& checked) {
    return std::all_of(checked.steps.begin(), checked.steps.end(),
                       [](step_report const& each) { return each.found.empty(); });
}

// Adds what the options ask for after the steps that need all descriptions.
void finish(checked_directory& checked, check_options const& options) {
    if (!options.descriptions_only) {
        check_code(checked, std::chrono::seconds(options.time_limit));
    }
    if (!options.strict) {
        drop_advice(checked);
    }
}

}  // namespace

checked_directory check_directory(std::string const& path) {
    auto checked = described(path);
    check_code(checked, std::chrono::seconds(check_options().time_limit));
    return checked;
}

bool check(byte_sink& out, check_options const& options) {
    if (options.codes) {
        out.write(rule_table());
        return true;
    }
    bool are_listed = true;
    std::vector<checked_directory> all;
    for (auto const& named : options.directories) {
        try {
            for (auto const& path : plugin_directories(named)) {
                all.push_back(described(path));
            }
        } catch (failure const& error) {
            say(error.what());
            are_listed = false;
        }
    }
    check_conflicts(all);
    if (!options.descriptions_only && !can_refuse_system_calls()) {
        say("this system cannot refuse system calls: a plug-in that is tried may start processes "
            "and signal others; check only plug-ins that you trust");
    }
    print_items(out, options.json, [&](json_array* array) {
        for (auto& directory : all) {
            finish(directory, options);
            if (options.quiet && is_clean(directory)) {
                continue;
            }
            array != nullptr ? array->add(json_report(directory))
                             : out.write(text_report(directory));
        }
    });
    if (!options.html.empty()) {
        auto page = byte_sink::to_file(options.html);
        page.write(html_report(all));
        page.finish();
    }
    return are_listed && std::all_of(all.begin(), all.end(), is_clean);
}

}  // namespace kivplug
