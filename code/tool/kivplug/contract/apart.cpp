#include "apart.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <iterator>
#include <string>

#include "descriptor.h"
#include "failure.h"

namespace kivplug {

namespace {

// How often a sequence is repeated before the plug-in is blamed for a leak. It may keep some files
// open for all its objects.
constexpr int k_lost_files = 20;

std::ptrdiff_t open_files() {
    std::filesystem::directory_iterator const numbers("/proc/self/fd");
    return std::distance(begin(numbers), end(numbers));
}

// Whether standard input, output and error are open.
bool are_standard_files_open() {
    return fcntl(STDIN_FILENO, F_GETFD) >= 0 && fcntl(STDOUT_FILENO, F_GETFD) >= 0 &&
           fcntl(STDERR_FILENO, F_GETFD) >= 0;
}

[[noreturn]] void break_after_release(trace const& log, char const* found, char const* expected) {
    log.send(trace::k_call, k_release);
    log.send(trace::k_result, found);
    throw breach{expected, "kivcore/reader.h, writer.h: close closes what was opened"};
}

void require_no_leak(subject& tested, calls const& sequence, trace const& log,
                     std::ptrdiff_t before) {
    for (int repeat = 0; repeat < k_lost_files; ++repeat) {
        auto const after = open_files();
        if (after <= before) {
            return;
        }
        before = after;
        tested.run(sequence, trace(-1));
    }
    break_after_release(log, "one more open file every time", "no more open files than before");
}

void work_through(subject& tested, workload const& work, trace const& log) {
    bool const were_open = are_standard_files_open();
    auto const require_standard_files = [&] {
        if (were_open && !are_standard_files_open()) {
            break_after_release(log, "standard input, output or error closed",
                                "the host's files open as before");
        }
    };
    tested.prepare(log);
    require_standard_files();
    for (std::size_t i = 0; i < work.count; ++i) {
        auto const sequence = work.sequence(i);
        log.send_sequence(sequence);
        auto const before = open_files();
        tested.run(sequence, log);
        require_standard_files();
        require_no_leak(tested, sequence, log, before);
    }
}

void silence() {
    descriptor const nowhere(open("/dev/null", O_WRONLY | O_CLOEXEC));
    dup2(nowhere.get(), STDOUT_FILENO);
    dup2(nowhere.get(), STDERR_FILENO);
}

// The other process. It ends without clean-up: the first process owns what the program holds.
[[noreturn]] void work_and_exit(subject& tested, workload const& work, run_limits const& limits,
                                int number) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    rlimit const no_core = {0, 0};
    setrlimit(RLIMIT_CORE, &no_core);
    if (limits.quiet) {
        silence();
    }
    trace const log(number);
    try {
        work_through(tested, work, log);
        log.send(trace::k_held);
    } catch (breach const& broken) {
        log.send(trace::k_expected, broken.expected);
        log.send(trace::k_promise, broken.promise);
    } catch (...) {
        log.send(trace::k_failure, caught_text("the plug-in", ""));
    }
    _exit(0);
}

[[noreturn]] void fail_for_system(char const* what) {
    throw failure(std::string("cannot create a ") + what + ": " + error_text(errno));
}

}  // namespace

outcome run_apart(subject& tested, workload const& work, run_limits const& limits) {
    int ends[2] = {-1, -1};
    if (pipe2(ends, O_CLOEXEC) != 0) {
        fail_for_system("pipe");
    }
    descriptor const reading(ends[0]);
    descriptor writing(ends[1]);
    pid_t const child = fork();
    if (child == 0) {
        work_and_exit(tested, work, limits, writing.get());
    }
    if (child < 0) {
        fail_for_system("process");
    }
    process running(child);
    writing = descriptor();
    return listener(reading.get(), std::chrono::milliseconds(limits.milliseconds)).listen(running);
}

}  // namespace kivplug
