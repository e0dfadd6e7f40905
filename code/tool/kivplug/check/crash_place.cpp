#include "crash_place.h"

#include <dlfcn.h>
#include <execinfo.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <exception>

#include "exception_text.h"

namespace kivplug {

namespace {

constexpr int k_most_frames = 64;
constexpr std::size_t k_stack_size = std::size_t{256} << 10;

struct watched_trial {
    trial_record* record;
    char const* object;
    std::terminate_handler standard_terminate;
};

// Handlers of signals get nothing else. Written once, before they are in place.
watched_trial watched;

// Whether the address is in the plug-in; then writes it down.
bool note_address(void const* address) {
    Dl_info found{};
    if (dladdr(address, &found) == 0 || std::strcmp(found.dli_fname, watched.object) != 0) {
        return false;
    }
    watched.record->place = reinterpret_cast<std::uintptr_t>(address) -
                            reinterpret_cast<std::uintptr_t>(found.dli_fbase);
    return true;
}

// None of this is meant for handlers of signals. But the process is at its end: a crash in here
// ends it with the same signal, and only the place stays unknown.
void note_place() {
    void* frames[k_most_frames];
    int const count = backtrace(frames, k_most_frames);
    // These are where calls return to, which may be in the next function.
    for (int i = 0; i < count; ++i) {
        if (note_address(static_cast<char*>(frames[i]) - 1)) {
            return;
        }
    }
}

void note_and_end(int signal, siginfo_t* info, void* /*context*/) {
    if (signal == SIGSYS) {
        watched.record->is_call_refused = 1;
        watched.record->refused_call = info->si_syscall;
    }
    note_place();
    raise(signal);  // comes at the end of this function, and has no handler any more
}

void note_exit(int status, void* /*nothing*/) {
    note_place();
    _exit(status);  // without what this program has to do at its end
}

[[noreturn]] void note_exception() {
    if (std::current_exception() != nullptr) {
        write_text(watched.record->exception, exception_text());
        std::abort();
    }
    watched.standard_terminate();
    std::abort();  // not reached
}

}  // namespace

void note_crashes(trial_record& record, std::string const& object) {
    watched = {&record, object.c_str(), std::set_terminate(note_exception)};
    on_exit(note_exit, nullptr);
    void* frame = nullptr;
    backtrace(&frame, 1);  // the first call loads a library
    stack_t stack{};
    static std::array<char, k_stack_size> space;
    stack.ss_sp = space.data();
    stack.ss_size = k_stack_size;
    sigaltstack(&stack, nullptr);
    struct sigaction noted {};
    noted.sa_sigaction = note_and_end;
    noted.sa_flags = static_cast<int>(SA_SIGINFO | SA_ONSTACK | SA_RESETHAND);
    for (int const signal : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP, SIGSYS}) {
        sigaction(signal, &noted, nullptr);
    }
}

}  // namespace kivplug
