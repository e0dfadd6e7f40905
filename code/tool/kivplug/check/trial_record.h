// What a trial leaves behind, however it ends. It is in memory that the trial's process shares with
// the one that judges it, and a hostile plug-in may have written anything into it.

#ifndef KIVPLUG_CHECK_TRIAL_RECORD_H
#define KIVPLUG_CHECK_TRIAL_RECORD_H

#include <sys/mman.h>

#include <cstddef>
#include <memory>
#include <string>

namespace kivplug {

// What was being done when a trial ended.
enum class trial_stage { starting, opening, creating, asking, releasing, closing, outliving, done };

struct trial_record {
    trial_stage stage = trial_stage::starting;
    std::size_t plugin = 0;  // indices of what was tried
    std::size_t id = 0;
    int rule = 0;             // of what the trial itself found; 0 for nothing
    char problem[1024] = {};  // the finding's
    int is_call_refused = 0;  // 1 when that was the end
    long refused_call = 0;
    std::size_t place = 0;     // of its end, from the start of the shared object; 0 for unknown
    char exception[512] = {};  // that ended the process, as it was not caught
};

struct unmap_record {
    void operator()(trial_record* mapped) const { munmap(mapped, sizeof *mapped); }
};
using shared_record = std::unique_ptr<trial_record, unmap_record>;

// Copies what fits, with its end.
template <std::size_t size>
void write_text(char (&target)[size], std::string const& text) {
    target[text.copy(target, size - 1)] = '\0';
}

template <std::size_t size>
std::string read_text(char const (&source)[size]) {
    return std::string(source, size).substr(0, std::string(source, size).find('\0'));
}

}  // namespace kivplug

#endif
