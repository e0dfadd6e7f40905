#include "trial_verdict.h"

#include <sys/wait.h>

#include <algorithm>
#include <csignal>
#include <cstring>

#include "object_place.h"
#include "system_calls.h"
#include "text.h"
#include "trial_run.h"

namespace kivplug {

namespace {

constexpr std::size_t k_most_quoted = 300;                    // bytes of what a plug-in printed
constexpr char const* k_runtime_error = ": runtime error: ";  // of a sanitizer

// What is wrong, under the number of its rule.
struct fault {
    int rule;             // cppcheck-suppress unusedStructMember; it is used below
    std::string problem;  // cppcheck-suppress unusedStructMember
};

// Whether the record names one of the ids. A hostile plug-in may have written it.
bool names_id(trial_subject const& tried, trial_record const& record) {
    bool const is_of_id = record.stage == trial_stage::creating ||
                          record.stage == trial_stage::asking ||
                          record.stage == trial_stage::releasing;
    return is_of_id && record.plugin < tried.plugins.size() &&
           record.id < tried.plugins[record.plugin].ids.size();
}

// What was being done, as the subject of a sentence.
std::string stage_text(trial_subject const& tried, trial_record const& record) {
    if (names_id(tried, record)) {
        auto const id = "\"" + tried.plugins[record.plugin].ids[record.id] + "\"";
        switch (record.stage) {
            case trial_stage::creating:
                return "creating " + id;
            case trial_stage::asking:
                return "asking the object of " + id + " what it is";
            default:
                return "releasing the object of " + id;
        }
    }
    return record.stage <= trial_stage::opening ? "opening the shared object"
                                                : "closing the shared object";
}

std::string place_text(trial_record const& record) {
    auto const place = read_text(record.place);
    return place.empty() ? "" : " in " + place;
}

// The lines of what was printed that say most: the summary of a sanitizer, or else the last two.
std::string printed_text(std::string const& printed) {
    auto lines = split(printed, '\n');
    lines.erase(std::remove(lines.begin(), lines.end(), ""), lines.end());
    auto const summary = std::find_if(lines.begin(), lines.end(), [](std::string const& line) {
        return line.rfind("SUMMARY: ", 0) == 0 || line.find(k_runtime_error) < line.size();
    });
    if (summary != lines.end()) {
        lines = {*summary};
    }
    constexpr std::size_t k_lines = 2;
    std::string text;
    for (std::size_t i = lines.size() - std::min(lines.size(), k_lines); i < lines.size(); ++i) {
        text += (text.empty() ? "" : " ") + lines[i].substr(lines[i].find_first_not_of(' '));
    }
    return text.empty() ? "" : "; it printed: " + text.substr(0, k_most_quoted);
}

fault fault_of_call(std::string const& doing, trial_record const& record) {
    auto const place = place_text(record);
    switch (intrusion_of(record.refused_call)) {
        case intrusion::new_process:
            return {443, doing + " starts a process" + place};
        case intrusion::new_program:
            return {443, doing + " runs another program in place of the host" + place};
        case intrusion::terminal:
            return {445, doing + " changes a terminal" + place};
        case intrusion::other_process:
            return {444, doing + " signals, traces or limits another process" + place};
        default:
            return {444, doing + " makes a system call that no plug-in needs" + place};
    }
}

fault fault_of_signal(std::string const& doing, trial_record const& record,
                      process_end const& end) {
    int const signal = WTERMSIG(end.status);
    auto const place = place_text(record);
    auto const exception = read_text(record.exception);
    if (signal == SIGABRT && !exception.empty()) {
        return {414, doing + " throws" + place + ", where nothing can catch it, " + exception};
    }
    switch (signal) {
        case SIGABRT:
            return {411, doing + " aborts" + place + printed_text(end.printed)};
        case SIGXFSZ:
            return {441, doing + " writes over 64 MiB to a file, or to standard output"};
        case SIGSYS:
            // Blocked signals reach no handler. What starts a program blocks them meanwhile.
            return {443, doing +
                             " starts a process, or does something else that a plug-in must not, "
                             "while it blocks signals"};
        case SIGKILL:
            return {440, doing + " is killed by the system, as it does when memory runs out"};
        default:
            break;
    }
    char const* const name = sigabbrev_np(signal);
    char const* const description = sigdescr_np(signal);
    return {410, doing + " crashes with SIG" + (name != nullptr ? name : std::to_string(signal)) +
                     " (" + (description != nullptr ? description : "unknown") + ")" + place +
                     printed_text(end.printed)};
}

// That of a sanitizer, when it was not in the process from its start.
bool needs_sanitizer(std::string const& printed) {
    return printed.find("runtime does not come first") < printed.size();
}

bool is_sanitizer_report(std::string const& printed) {
    return printed.find("Sanitizer: ") < printed.size() ||
           printed.find(k_runtime_error) < printed.size();
}

// Of a process that was ended because it was beyond a limit.
fault fault_of_limit(trial_subject const& tried, std::string const& doing, ender by) {
    switch (by) {
        case ender::memory_limit:
            return {440, doing + " takes over " + std::to_string(k_most_memory >> 20) +
                             " MiB of memory"};
        case ender::thread_limit:
            return {440, doing + " starts over " + std::to_string(k_most_threads) + " threads"};
        default:
            return {412, doing + " does not end within " + std::to_string(tried.most_time.count()) +
                             " s"};
    }
}

// Of a process that ended without a signal, and not at the end of the trial.
fault fault_of_exit(std::string const& doing, process_end const& end) {
    auto const printed = printed_text(end.printed);
    if (needs_sanitizer(end.printed)) {
        return {403,
                "the shared object is built with a sanitizer, which ends a host that was not "
                "started with it" +
                    printed};
    }
    if (is_sanitizer_report(end.printed)) {
        return {410, doing + " is stopped by a sanitizer" + printed};
    }
    return {413, doing + " ends the process with status " +
                     std::to_string(WEXITSTATUS(end.status)) + printed};
}

std::optional<fault> fault_of_end(trial_subject const& tried, trial_record const& record,
                                  process_end const& end) {
    auto const doing = stage_text(tried, record);
    if (end.by != ender::itself) {
        return fault_of_limit(tried, doing, end.by);
    }
    if (record.is_call_refused == 1) {
        return fault_of_call(doing, record);
    }
    // Not a failure of this program: the plug-in may have written that.
    if (record.stage == trial_stage::starting) {
        return fault{400, "the process for the trial ended without one"};
    }
    if (record.stage == trial_stage::outliving) {
        return fault{431,
                     "a thread runs on after the shared object, and its code with it, is closed"};
    }
    if (WIFSIGNALED(end.status)) {
        return fault_of_signal(doing, record, end);
    }
    return record.stage != trial_stage::done ? std::optional(fault_of_exit(doing, end))
                                             : std::nullopt;
}

// The bind element of the create function, or the plug-in when it has none, or the shared object.
location place_of(trial_subject const& tried, trial_record const& record) {
    if (!names_id(tried, record)) {
        return {object_path(tried.directory)};
    }
    auto const& plugin = tried.plugins[record.plugin];
    auto const found =
        std::find_if(plugin.functions.begin(), plugin.functions.end(),
                     [](bound_function const& each) { return each.function == "create"; });
    if (found == plugin.functions.end()) {
        return plugin.where;
    }
    auto where = found->where;
    where.symbol = found->symbol;
    return where;
}

bool is_of_trial(int number) {
    auto const& rules = all_rules();
    return number >= 400 && std::any_of(rules.begin(), rules.end(),
                                        [=](rule const& each) { return each.number == number; });
}

}  // namespace

std::optional<finding> verdict_on(trial_subject const& tried, trial_record const& record,
                                  process_end const& end) {
    auto const found = is_of_trial(record.rule) ? fault{record.rule, read_text(record.problem)}
                                                : fault_of_end(tried, record, end);
    if (!found) {
        return std::nullopt;
    }
    std::string repair = rule_of(found->rule).cure;
    repair.pop_back();  // its full stop
    return finding{found->rule, place_of(tried, record), found->problem, repair};
}

}  // namespace kivplug
