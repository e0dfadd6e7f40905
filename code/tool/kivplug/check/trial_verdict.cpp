#include "trial_verdict.h"

#include <sys/wait.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <iterator>
#include <sstream>

#include "elf_object.h"
#include "object_place.h"
#include "system_calls.h"
#include "text.h"
#include "trial_run.h"
#include "wording.h"

namespace kivplug {

namespace {

constexpr unsigned long long k_much_memory = k_most_memory / 4;
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

// The function of the shared object that has the address; empty if that is not known.
std::string function_at(std::string const& path, elf_address address) {
    try {
        elf_object const object(path);
        for (auto const& symbols : {object.full_symbols(), object.symbols()}) {
            auto const found =
                std::find_if(symbols.begin(), symbols.end(), [&](elf_symbol const& each) {
                    return each.is_defined && object.is_function(each) && address >= each.value &&
                           address - each.value < each.size;
                });
            if (found != symbols.end()) {
                return declaration_of(found->name);
            }
        }
    } catch (malformed const&) {
        return "";  // it was sound before the trial
    }
    return "";
}

std::string place_text(trial_subject const& tried, trial_record const& record) {
    if (record.place == 0) {
        return "";
    }
    std::ostringstream text;
    auto const function = function_at(object_path(tried.directory), record.place);
    text << " in " << function << (function.empty() ? "" : ", ") << "plugin.so+0x" << std::hex
         << record.place;
    return text.str();
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

fault fault_of_call(std::string const& doing, std::string const& place,
                    trial_record const& record) {
    switch (intrusion_of(record.refused_call)) {
        case intrusion::new_process:
            return {443, doing + " starts a process" + place +
                             ", which the trial does not let it; what follows is not known"};
        case intrusion::new_program:
            return {413, doing + " runs another program in place of the host" + place};
        case intrusion::terminal:
            return {445, doing + " changes a terminal" + place};
        case intrusion::other_process:
            return {444, doing + " signals, traces or limits another process" + place};
        default:
            return {444, doing + " makes a system call that no plug-in needs" + place};
    }
}

// Whether the system raises it for a mistake in the code.
bool is_of_crash(int signal) {
    constexpr int k_crashes[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP};
    return std::find(std::begin(k_crashes), std::end(k_crashes), signal) != std::end(k_crashes);
}

fault fault_of_signal(trial_subject const& tried, std::string const& place,
                      trial_record const& record, process_end const& end) {
    auto const doing = stage_text(tried, record);
    int const signal = WTERMSIG(end.status);
    auto const exception = read_text(record.exception);
    if (signal == SIGABRT && !exception.empty()) {
        return {414, doing + " throws" + place + " where nothing can catch it: " + exception};
    }
    switch (signal) {
        case SIGABRT:
            return {411, doing + " aborts" + place + printed_text(end.printed)};
        case SIGXFSZ:
            return {441,
                    doing +
                        " writes a file of over 64 MiB, or over a lower limit of this user, or "
                        "prints as much"};
        case SIGSYS:
            // Blocked signals reach no handler. What starts a program blocks them meanwhile.
            return {443, doing +
                             " starts a process, or does something else that a plug-in must not, "
                             "while it blocks signals"};
        case SIGKILL:
            if (end.most_memory > k_much_memory) {
                return {440, doing + " is killed by the system, as it does when memory runs out"};
            }
            break;
        default:
            break;
    }
    char const* const name = sigabbrev_np(signal);
    char const* const description = sigdescr_np(signal);
    bool const is_outside = is_of_crash(signal) && place.empty() && names_id(tried, record);
    return {410, doing + (is_of_crash(signal) ? " crashes with SIG" : " is ended by SIG") +
                     (name != nullptr ? name : std::to_string(signal)) + " (" +
                     (description != nullptr ? description : "unknown") + ")" + place +
                     (is_outside ? " outside the shared object: what create returns may not be a "
                                   "living object"
                                 : "") +
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
fault fault_of_exit(std::string const& doing, std::string const& place, process_end const& end) {
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
                     std::to_string(WEXITSTATUS(end.status)) + place + printed};
}

std::optional<fault> fault_of_end(trial_subject const& tried, trial_record const& record,
                                  process_end const& end) {
    auto const doing = stage_text(tried, record);
    auto const place = place_text(tried, record);
    if (end.by != ender::itself) {
        return fault_of_limit(tried, doing, end.by);
    }
    if (record.is_call_refused == 1) {
        return fault_of_call(doing, place, record);
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
        return fault_of_signal(tried, place, record, end);
    }
    return record.stage != trial_stage::done ? std::optional(fault_of_exit(doing, place, end))
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
    constexpr int k_makes_nothing = 415;
    auto const problem = found->rule == k_makes_nothing ? found->problem + printed_text(end.printed)
                                                        : found->problem;
    std::string repair = rule_of(found->rule).cure;
    repair.pop_back();  // its full stop
    return finding{found->rule, place_of(tried, record), problem, repair};
}

}  // namespace kivplug
