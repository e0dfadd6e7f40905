#include "apart.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <utility>

#include "descriptor.h"
#include "failure.h"

namespace kivplug {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr char const* k_survive =
    "an operation returns, or raises an exception: it does not end or block the host";

// After the calls of a sequence.
constexpr char const* k_release = "release of the objects";

constexpr int k_lost_files = 20;

// A sequence may cost as much as this many preparations: every seek may decode from the start.
constexpr int k_plain_reads = 40;

// Ends with its owner.
class process {
  public:
    explicit process(pid_t started) : id(started) {}
    ~process() {
        if (id > 0) {
            kill(id, SIGKILL);
            wait();
        }
    }

    process(process const&) = delete;
    process& operator=(process const&) = delete;

    // Its status as waitpid gives it, once it has ended.
    int wait() {
        int status = 0;
        waitpid(std::exchange(id, 0), &status, 0);
        return status;
    }

  private:
    pid_t id;
};

std::ptrdiff_t open_files() {
    std::filesystem::directory_iterator const numbers("/proc/self/fd");
    return std::distance(begin(numbers), end(numbers));
}

// Something that stays open once may be there for all objects; what stays open every time is lost.
void run_without_leak(subject& tested, calls const& sequence, trace const& log) {
    auto before = open_files();
    tested.run(sequence, log);
    for (int repeat = 0; repeat < k_lost_files; ++repeat) {
        auto const after = open_files();
        if (after <= before) {
            return;
        }
        before = after;
        tested.run(sequence, trace(-1));
    }
    log.send(trace::k_call, k_release);
    log.send(trace::k_result, "one more open file every time");
    throw breach{"no more open files than before",
                 "kivcore/reader.h, writer.h: close lets go of what was opened"};
}

void work_through(subject& tested, workload const& work, trace const& log) {
    tested.prepare(log);
    for (std::size_t i = 0; i < work.count; ++i) {
        auto const sequence = work.sequence(i);
        log.send_sequence(sequence);
        run_without_leak(tested, sequence, log);
    }
}

void silence() {
    descriptor const nowhere(open("/dev/null", O_WRONLY | O_CLOEXEC));
    dup2(nowhere.get(), STDOUT_FILENO);
    dup2(nowhere.get(), STDERR_FILENO);
}

// The other process. It ends without clean-up: what the program holds is the first one's.
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

// What the other process reports, as it comes.
class listener {
  public:
    listener(int number, milliseconds most) : source(number), limit(most) {}

    // Listens until the last message, or the end of the process.
    outcome listen(process& child);

  private:
    bool receive();
    void begin_sequence();
    void take(trace::e_message type, std::string const& text);
    void take_messages();
    void explain_silence(process& child);

    int source;
    milliseconds limit;
    steady_clock::time_point prepared_from = steady_clock::now();
    steady_clock::time_point begun = prepared_from;
    std::string pending;  // the start of a message
    bool started = false;
    bool ended = false;
    bool late = false;
    outcome heard;
};

// False at the end, and when it takes too long.
bool listener::receive() {
    auto const left = std::chrono::duration_cast<milliseconds>(begun + limit - steady_clock::now());
    pollfd waiting = {source, POLLIN, 0};
    int const ready = left.count() > 0 ? poll(&waiting, 1, static_cast<int>(left.count())) : 0;
    if (ready < 0 && errno == EINTR) {
        return true;
    }
    late = ready == 0;
    char bytes[65536];
    ssize_t const got = ready > 0 ? ::read(source, bytes, sizeof bytes) : 0;
    pending.append(bytes, got > 0 ? static_cast<std::size_t>(got) : 0);
    return got > 0;
}

void listener::begin_sequence() {
    auto const now = steady_clock::now();
    if (started) {
        ++heard.number;
    } else {
        limit += k_plain_reads * std::chrono::duration_cast<milliseconds>(now - prepared_from);
    }
    started = true;
    begun = now;
}

void listener::take(trace::e_message type, std::string const& text) {
    switch (type) {
        case trace::k_sequence:
            begin_sequence();
            heard.sequence.resize(text.size() / sizeof(call));
            std::memcpy(heard.sequence.data(), text.data(), text.size());
            heard.made.clear();
            return;
        case trace::k_call:
            begun = started ? begun : steady_clock::now();  // preparing may take its time
            heard.made.push_back({text, ""});
            return;
        case trace::k_result:
            heard.made.back().result = text;
            return;
        case trace::k_restart:
            heard.made.clear();
            return;
        case trace::k_expected:
            heard.expected = text;
            return;
        case trace::k_promise:
            heard.promise = text;
            break;
        case trace::k_failure:
            throw failure(text);
        case trace::k_held:
            heard.held = true;
    }
    ended = true;
}

void listener::take_messages() {
    trace::header head = {};
    std::size_t place = 0;
    while (!ended && pending.size() - place >= sizeof head) {
        std::memcpy(&head, pending.data() + place, sizeof head);
        if (pending.size() - place - sizeof head < head.length) {
            break;
        }
        take(head.type, pending.substr(place + sizeof head, head.length));
        place += sizeof head + head.length;
    }
    pending.erase(0, place);
}

// For a status as waitpid gives it.
std::string text_of_end(int status) {
    if (!WIFSIGNALED(status)) {
        return "the end of the process, with status " + std::to_string(WEXITSTATUS(status));
    }
    int const signal = WTERMSIG(status);
    char const* const name = sigdescr_np(signal);
    return "a crash, by signal " + std::to_string(signal) + " (" +
           (name != nullptr ? name : "unknown") + ")";
}

// The process has ended, or is waited for no longer.
void listener::explain_silence(process& child) {
    std::string const what =
        late ? "no answer for " + std::to_string(limit.count()) + " ms" : text_of_end(child.wait());
    if (heard.made.empty() || !heard.made.back().result.empty()) {
        heard.made.push_back({k_release, ""});
    }
    heard.made.back().result = what;
    heard.expected = "a return";
    heard.promise = k_survive;
}

outcome listener::listen(process& child) {
    while (!ended && receive()) {
        take_messages();
    }
    if (!ended) {
        explain_silence(child);
    }
    return std::move(heard);
}

[[noreturn]] void fail_for_system(char const* what) {
    throw failure(std::string("cannot make ") + what + ": " + error_text(errno));
}

}  // namespace

outcome run_apart(subject& tested, workload const& work, run_limits const& limits) {
    int ends[2] = {-1, -1};
    if (pipe2(ends, O_CLOEXEC) != 0) {
        fail_for_system("a pipe");
    }
    descriptor const reading(ends[0]);
    descriptor writing(ends[1]);
    pid_t const child = fork();
    if (child == 0) {
        work_and_exit(tested, work, limits, writing.get());
    }
    if (child < 0) {
        fail_for_system("a process");
    }
    process running(child);
    writing = descriptor();
    return listener(reading.get(), milliseconds(limits.milliseconds)).listen(running);
}

}  // namespace kivplug
