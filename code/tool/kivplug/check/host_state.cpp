#include "host_state.h"

#include <dlfcn.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cfenv>
#include <clocale>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <new>
#include <system_error>
#include <utility>

#include "shared/directory.h"

namespace kivplug {

namespace {

namespace fs = std::filesystem;

std::string mask_text() {
    mode_t const mask = umask(0);
    umask(mask);
    return std::to_string(mask);
}

std::string signal_name(int number) {
    char const* const name = sigabbrev_np(number);
    return "SIG" + (name != nullptr ? name : std::to_string(number));
}

std::string blocked_signals() {
    sigset_t blocked;
    pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
    std::string text;
    for (int number = 1; number < NSIG; ++number) {
        if (sigismember(&blocked, number) == 1) {
            text += (text.empty() ? "" : " ") + signal_name(number);
        }
    }
    return text;
}

bool is_timer_set(__itimer_which which) {
    itimerval timer{};
    getitimer(which, &timer);
    return timer.it_value.tv_sec != 0 || timer.it_value.tv_usec != 0;
}

std::string timer_text() {
    bool const is_set =
        is_timer_set(ITIMER_REAL) || is_timer_set(ITIMER_VIRTUAL) || is_timer_set(ITIMER_PROF);
    return is_set ? "set" : "not set";
}

// What is done with tiny numbers and with faults, besides rounding.
std::string float_mode() {
#ifdef __SSE__
    constexpr unsigned int k_tiny_is_zero = 0x8040;
    bool const is_fast = (__builtin_ia32_stmxcsr() & k_tiny_is_zero) != 0;
#else
    bool const is_fast = false;
#endif
    return fegetexcept() != 0 ? "faults raise signals"
           : is_fast          ? "tiny numbers are zero, as by -ffast-math"
                              : "standard";
}

std::string limit_text(__rlimit_resource_t resource) {
    rlimit limit{};
    getrlimit(resource, &limit);
    return std::to_string(limit.rlim_cur);
}

std::map<std::string, std::string> current_values() {
    std::error_code unknown;
    std::map<std::string, std::string> values = {
        {"working directory", fs::current_path(unknown).string()},
        {"mask for new files (umask)", mask_text()},
        // NOLINTNEXTLINE(concurrency-mt-unsafe): other threads are at rest or the plug-in's
        {"locale", std::setlocale(LC_ALL, nullptr)},
        {"rounding mode", std::to_string(std::fegetround())},
        {"floating-point mode", float_mode()},
        {"set of blocked signals", blocked_signals()},
        {"alarm", timer_text()},
        {"limit of open files", limit_text(RLIMIT_NOFILE)},
        {"limit of the stack", limit_text(RLIMIT_STACK)},
        {"limit of memory", limit_text(RLIMIT_AS)},
        {"limit of processor time", limit_text(RLIMIT_CPU)}};
    for (int number = 1; number < NSIG; ++number) {
        struct sigaction action {};
        if (sigaction(number, nullptr, &action) == 0) {
            values["handling of " + signal_name(number)] = action.sa_handler == SIG_DFL ? "default"
                                                           : action.sa_handler == SIG_IGN
                                                               ? "ignored"
                                                               : "a function";
        }
    }
    return values;
}

std::map<std::string, std::string> current_environment() {
    std::map<std::string, std::string> variables;
    for (char** each = environ; each != nullptr && *each != nullptr; ++each) {
        std::string const text = *each;
        auto const end = std::min(text.find('='), text.size());
        bool const is_of_compiler = text.rfind("__", 0) == 0;
        if (!is_of_compiler) {
            variables.emplace(text.substr(0, end), text.substr(end));
        }
    }
    return variables;
}

std::map<std::string, void*> current_handlers() {
    std::map<std::string, void*> handlers = {
        {"std::terminate", reinterpret_cast<void*>(std::get_terminate())},
        {"operator new", reinterpret_cast<void*>(std::get_new_handler())}};
    for (int number = 1; number < NSIG; ++number) {
        struct sigaction action {};
        if (sigaction(number, nullptr, &action) == 0) {
            handlers[signal_name(number)] = reinterpret_cast<void*>(action.sa_handler);
        }
    }
    return handlers;
}

std::map<int, std::string> first_identities() {
    constexpr int k_count = 16;
    std::map<int, std::string> identities;
    for (int number = 0; number < k_count; ++number) {
        struct stat status {};
        if (fstat(number, &status) == 0) {
            identities[number] =
                std::to_string(status.st_dev) + " " + std::to_string(status.st_ino);
        }
    }
    return identities;
}

std::map<int, std::string> current_files() {
    std::map<int, std::string> files;
    bundled::directory_handle const opened(opendir("/proc/self/fd"));
    if (!opened) {
        return files;
    }
    bundled::visit_entries(opened, [&](dirent const& entry) {
        int const number = static_cast<int>(std::strtol(entry.d_name, nullptr, 10));
        if (number > STDERR_FILENO && number != dirfd(opened.get())) {
            std::error_code unknown;
            files[number] =
                fs::read_symlink("/proc/self/fd/" + std::to_string(number), unknown).string();
        }
    });
    return files;
}

}  // namespace

host_state::host_state()
    : values(current_values()),
      environment(current_environment()),
      handlers(current_handlers()),
      files(current_files()),
      identities(first_identities()) {}

std::string host_state::change() const {
    for (auto const& [name, value] : current_values()) {
        auto const& former = values.at(name);
        if (value != former) {
            std::string text = "the ";
            text.append(name).append(" is \"").append(value).append("\" instead of \"");
            return text.append(former).append("\"");
        }
    }
    // Without the values, which may be secret.
    auto const now = current_environment();
    for (auto const& [variables, others] : {std::pair(&now, &environment), {&environment, &now}}) {
        for (auto const& [name, value] : *variables) {
            auto const other = others->find(name);
            if (other == others->end() || other->second != value) {
                return "the environment variable \"" + name + "\" is another";
            }
        }
    }
    return "";
}

std::string host_state::lost_handler() const {
    for (auto const& [name, handler] : current_handlers()) {
        Dl_info found{};
        if (handler != handlers.at(name) && handler != reinterpret_cast<void*>(SIG_DFL) &&
            handler != reinterpret_cast<void*>(SIG_IGN) && dladdr(handler, &found) == 0) {
            return name;
        }
    }
    return "";
}

int host_state::lost_file() const {
    auto const now = first_identities();
    for (auto const& [number, identity] : identities) {
        auto const same = now.find(number);
        if (same == now.end() || same->second != identity) {
            return number;
        }
    }
    return -1;
}

std::string host_state::open_file() const {
    for (auto const& [number, name] : current_files()) {
        auto const former = files.find(number);
        if (former == files.end() || former->second != name) {
            return name;
        }
    }
    return "";
}

}  // namespace kivplug
