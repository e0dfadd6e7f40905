#include "confined_process.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "confinement.h"
#include "descriptor.h"
#include "failure.h"

namespace kivplug {

namespace {

using clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds k_between_looks(10);
constexpr off_t k_most_printed = off_t{64} << 10;  // what is kept of it: a stack trace is long

// While an object of this class lives, the end of a child is a signal that can be waited for. A
// starter of this program may have had it ignored, and children then leave no status.
class child_watch {
  public:
    child_watch() {
        struct sigaction standard {};
        standard.sa_handler = SIG_DFL;
        sigaction(SIGCHLD, &standard, &former_action);
        sigemptyset(&signals);
        sigaddset(&signals, SIGCHLD);
        pthread_sigmask(SIG_BLOCK, &signals, &former_mask);
    }
    ~child_watch() {
        pthread_sigmask(SIG_SETMASK, &former_mask, nullptr);
        sigaction(SIGCHLD, &former_action, nullptr);
    }

    child_watch(child_watch const&) = delete;
    child_watch& operator=(child_watch const&) = delete;

    // Returns when a child has ended, and at the latest after the time.
    void wait(std::chrono::milliseconds most) const {
        timespec const time{0, static_cast<long>(std::chrono::nanoseconds(most).count())};
        sigtimedwait(&signals, nullptr, &time);
    }

  private:
    sigset_t signals{};
    sigset_t former_mask{};
    struct sigaction former_action {};
};

// A started process. It is ended and waited for at the latest by the destructor.
class child {
  public:
    explicit child(pid_t started)
        : number(started), directory("/proc/" + std::to_string(started)) {}
    ~child() {
        if (!is_over) {
            end();
        }
    }

    child(child const&) = delete;
    child& operator=(child const&) = delete;

    bool has_ended() {
        is_over = is_over || wait4(number, &status, WNOHANG, &used) == number;
        return is_over;
    }

    void end() {
        kill(number, SIGKILL);
        while (wait4(number, &status, 0, &used) < 0 && errno == EINTR) {
        }
        is_over = true;
    }

    int end_status() const { return status; }
    unsigned long long most_memory() const {
        // NOLINTNEXTLINE(cppcoreguidelines-pro-type-union-access): a union by glibc
        return static_cast<unsigned long long>(used.ru_maxrss) << 10;
    }

    // In bytes. 0 when that cannot be found out, as without /proc; so is the next.
    unsigned long long memory() const {
        descriptor const opened(open((directory + "/statm").c_str(), O_RDONLY | O_CLOEXEC));
        char text[256] = {};
        if (!opened.is_open() || bundled::read_at(opened.get(), text, sizeof text - 1, 0) <= 0) {
            return 0;
        }
        char const* const second = std::strchr(text, ' ');  // after the reserved pages
        return second == nullptr ? 0
                                 : std::strtoull(second, nullptr, 10) *
                                       static_cast<unsigned long long>(sysconf(_SC_PAGESIZE));
    }

    unsigned long threads() const {
        struct stat status_of {};
        constexpr nlink_t k_own_links = 2;
        return stat((directory + "/task").c_str(), &status_of) == 0
                   ? static_cast<unsigned long>(status_of.st_nlink - k_own_links)
                   : 0;
    }

  private:
    pid_t number;
    std::string directory;
    int status = 0;
    rusage used{};
    bool is_over = false;
};

// Which limit the process is beyond, if any.
ender broken_limit(child const& running, clock::time_point deadline) {
    if (clock::now() >= deadline) {
        return ender::time_limit;
    }
    if (running.memory() > k_most_memory) {
        return ender::memory_limit;
    }
    return running.threads() > k_most_threads ? ender::thread_limit : ender::itself;
}

ender wait_for(child& running, child_watch const& watch, clock::time_point deadline) {
    while (!running.has_ended()) {
        auto const limit = broken_limit(running, deadline);
        if (limit != ender::itself) {
            running.end();
            return limit;
        }
        watch.wait(k_between_looks);
    }
    return ender::itself;
}

std::string end_of(int file) {
    struct stat status {};
    std::string text;
    if (fstat(file, &status) == 0) {
        off_t const count = std::min(status.st_size, k_most_printed);
        text.resize(static_cast<std::size_t>(count));
        auto const got = bundled::read_at(file, text.data(), text.size(), status.st_size - count);
        text.resize(static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    }
    return text;
}

[[noreturn]] void be_child(std::function<void()> const& work, descriptor const& printed,
                           pid_t parent) {
    descriptor const nothing(open("/dev/null", O_RDONLY | O_CLOEXEC));
    dup2(nothing.get(), STDIN_FILENO);
    dup2(printed.get(), STDOUT_FILENO);
    dup2(printed.get(), STDERR_FILENO);
    try {
        confine(parent);
        work();
    } catch (...) {
        _exit(EXIT_FAILURE);  // the callers are those of the other process
    }
    _exit(EXIT_SUCCESS);
}

[[noreturn]] void fail_for(char const* what) {
    throw failure(std::string("cannot try the plug-in: ") + what + ": " + error_text(errno) +
                  "; end other programs, or try again later");
}

}  // namespace

process_end run_confined(std::function<void()> const& work, std::chrono::seconds most_time) {
    // In memory: a plug-in that prints without end fills it up to the limit of its files.
    descriptor const printed(memfd_create("printed", MFD_CLOEXEC));
    if (!printed.is_open()) {
        fail_for("no file for what it prints");
    }
    child_watch const watch;
    pid_t const parent = getpid();
    pid_t const started = fork();
    if (started < 0) {
        fail_for("no process for it");
    }
    if (started == 0) {
        be_child(work, printed, parent);
    }
    child running(started);
    process_end end;
    end.by = wait_for(running, watch, clock::now() + most_time);
    end.status = running.end_status();
    end.most_memory = running.most_memory();
    end.printed = end_of(printed.get());
    return end;
}

}  // namespace kivplug
