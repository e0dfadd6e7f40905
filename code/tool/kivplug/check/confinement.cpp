#include "confinement.h"

#include <fcntl.h>
#include <linux/capability.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>

#include "system_calls.h"

namespace kivplug {

namespace {

constexpr rlim_t k_most_file_size = rlim_t{64} << 20;
constexpr rlim_t k_most_files = 1024;

void limit(__rlimit_resource_t resource, rlim_t most) {
    rlimit now{};
    getrlimit(resource, &now);
    rlim_t const value = std::min(most, now.rlim_max);
    rlimit const lowered{value, value};
    setrlimit(resource, &lowered);
}

// Root may read files that are not its own. Without the other capabilities it can neither reach
// into this program's memory nor change the system.
void drop_capabilities() {
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct held[2] = {};
    if (syscall(SYS_capget, &header, held) != 0) {
        return;
    }
    constexpr unsigned int k_kept = 1U << CAP_DAC_OVERRIDE | 1U << CAP_DAC_READ_SEARCH;
    held[0] = {held[0].effective & k_kept, held[0].permitted & k_kept, 0};
    held[1] = {};
    syscall(SYS_capset, &header, held);
}

// As a host starts with them, whatever kivplug itself was started with.
void reset_signals() {
    for (int number = 1; number < NSIG; ++number) {
        std::signal(number, SIG_DFL);  // fails for those that cannot be changed
    }
    sigset_t none;
    sigemptyset(&none);
    pthread_sigmask(SIG_SETMASK, &none, nullptr);
}

void close_other_files() {
    long const most = sysconf(_SC_OPEN_MAX);
    if (syscall(SYS_close_range, STDERR_FILENO + 1, ~0U, 0) == 0) {
        return;
    }
    for (int number = STDERR_FILENO + 1; number < most; ++number) {
        close(number);
    }
}

}  // namespace

void confine(pid_t parent) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) {
        _exit(EXIT_FAILURE);  // it ended before the line above
    }
    setsid();
    close_other_files();
    reset_signals();
    limit(RLIMIT_CORE, 0);
    limit(RLIMIT_FSIZE, k_most_file_size);
    limit(RLIMIT_NOFILE, k_most_files);
    drop_capabilities();
    refuse_system_calls();
}

}  // namespace kivplug
