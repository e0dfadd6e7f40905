// Work that may end, block or harm the process that does it, done in another one.

#ifndef KIVPLUG_CHECK_CONFINED_PROCESS_H
#define KIVPLUG_CHECK_CONFINED_PROCESS_H

#include <chrono>
#include <functional>
#include <string>

namespace kivplug {

// What ended a process.
enum class ender { itself, time_limit, memory_limit, thread_limit };

struct process_end {
    ender by = ender::itself;
    int status = 0;                      // as waitpid gives it
    unsigned long long most_memory = 0;  // bytes that it had in use at once
    std::string printed;                 // the end of what it wrote to standard output and error
};

constexpr unsigned long long k_most_memory = 1ULL << 30;  // bytes in use
constexpr unsigned long k_most_threads = 1000;

// Does the work in a child process, confined as confine says, and waits for its end, which comes
// within the time. The child ends with status 0 when the work returns. It has what this process
// has in memory; its standard input is empty. Call this while the process has one thread. Raises a
// failure when no process can be started.
process_end run_confined(std::function<void()> const& work, std::chrono::seconds most_time);

}  // namespace kivplug

#endif
