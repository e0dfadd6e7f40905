#include "trial_step.h"

#include <sys/mman.h>

#include <algorithm>
#include <cerrno>
#include <new>

#include "confined_process.h"
#include "descriptor.h"
#include "failure.h"
#include "trial_record.h"
#include "trial_run.h"
#include "trial_verdict.h"

namespace kivplug {

namespace {

// Plug-ins of one directory that are found at fault, each in a process of its own.
constexpr std::size_t k_most_faulty = 20;

shared_record new_record() {
    constexpr int k_no_file = -1;
    void* const mapped = mmap(nullptr, sizeof(trial_record), PROT_READ | PROT_WRITE,
                              // cppcheck-suppress invalidFunctionArg; the memory is anonymous
                              MAP_SHARED | MAP_ANONYMOUS, k_no_file, 0);
    if (mapped == MAP_FAILED) {
        throw failure("cannot try the plug-in: " + error_text(errno) +
                      "; try again with more memory");
    }
    return shared_record(new (mapped) trial_record);
}

}  // namespace

void check_trial(std::string const& directory, std::vector<described_plugin> const& plugins,
                 std::chrono::seconds most_time, findings& found) {
    // Where a plug-in ends the process, the next one gets another.
    std::size_t first = 0;
    for (std::size_t faulty = 0; faulty < k_most_faulty && first <= plugins.size(); ++faulty) {
        auto const record = new_record();
        auto const end =
            run_confined([&] { run_trial(directory, plugins, first, *record); }, most_time);
        auto const fault = verdict_on({directory, plugins, most_time}, *record, end);
        if (!fault) {
            return;
        }
        found.push_back(*fault);
        bool const is_of_object = record->stage == trial_stage::creating ||
                                  record->stage == trial_stage::asking ||
                                  record->stage == trial_stage::releasing;
        if (!is_of_object || end.by == ender::time_limit) {
            return;
        }
        first = std::max(first, record->plugin) + 1;
    }
}

}  // namespace kivplug
