#include "host_state.h"

#include <dlfcn.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <cfenv>
#include <clocale>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "shared/directory.h"

namespace kivplug {

namespace {

namespace fs = std::filesystem;

std::string mask_text() {
    mode_t const mask = umask(0);
    umask(mask);
    return std::to_string(mask);
}

std::string blocked_signals() {
    sigset_t blocked;
    pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
    std::string text;
    for (int number = 1; number < NSIG; ++number) {
        char const* const name =
            sigismember(&blocked, number) == 1 ? sigabbrev_np(number) : nullptr;
        text += name != nullptr ? (text.empty() ? "SIG" : " SIG") + std::string(name) : "";
    }
    return text;
}

std::string timer_text() {
    itimerval timer{};
    getitimer(ITIMER_REAL, &timer);
    return timer.it_value.tv_sec != 0 || timer.it_value.tv_usec != 0 ? "set" : "";
}

std::map<std::string, std::string> current_values() {
    std::error_code unknown;
    return {{"working directory", fs::current_path(unknown).string()},
            {"mask for new files (umask)", mask_text()},
            // NOLINTNEXTLINE(concurrency-mt-unsafe): other threads are at rest or the plug-in's
            {"locale", std::setlocale(LC_ALL, nullptr)},
            {"rounding mode", std::to_string(std::fegetround())},
            {"set of blocked signals", blocked_signals()},
            {"alarm", timer_text()}};
}

std::array<void*, NSIG> current_handlers() {
    std::array<void*, NSIG> handlers{};
    for (int number = 1; number < NSIG; ++number) {
        struct sigaction action {};
        if (sigaction(number, nullptr, &action) == 0) {
            handlers[static_cast<std::size_t>(number)] = reinterpret_cast<void*>(action.sa_handler);
        }
    }
    return handlers;
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
    : values(current_values()), handlers(current_handlers()), files(current_files()) {}

std::string host_state::change() const {
    for (auto const& [name, value] : current_values()) {
        auto const& former = values.at(name);
        if (value != former) {
            std::string text = "the ";
            text.append(name).append(" is \"").append(value).append("\" instead of \"");
            return text.append(former).append("\"");
        }
    }
    return "";
}

std::string host_state::lost_handler() const {
    auto const now = current_handlers();
    for (std::size_t number = 1; number < now.size(); ++number) {
        void* const handler = now[number];
        Dl_info found{};
        if (handler != handlers[number] && handler != reinterpret_cast<void*>(SIG_DFL) &&
            handler != reinterpret_cast<void*>(SIG_IGN) && dladdr(handler, &found) == 0) {
            char const* const name = sigabbrev_np(static_cast<int>(number));
            return "SIG" + (name != nullptr ? name : std::to_string(number));
        }
    }
    return "";
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
