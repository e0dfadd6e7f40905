#include "notices.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "failure.h"
#include "text.h"

namespace kivplug {

void print_text(std::string const& text) {
    unsigned long long written = 0;
    write_all(STDERR_FILENO, text.data(), text.size(), written);  // nowhere else to complain
}

void say(std::string const& message) {
    print_text("kivplug: " + printable(message) + "\n");
}

void print_lines(std::string const& text) {
    for (auto const& line : split(text, '\n')) {
        print_text(printable(line) + "\n");
    }
}

notices::notices()
    : kept(memfd_create("notices", MFD_CLOEXEC)),
      standard_error(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1)) {
    if (!kept.is_open() || !standard_error.is_open()) {
        throw failure("cannot keep the library's messages: " + error_text(errno) +
                      "; close files or make room");
    }
    std::fflush(stdout);
    dup2(kept.get(), STDOUT_FILENO);
    dup2(kept.get(), STDERR_FILENO);
}

notices::~notices() {
    restore();
}

std::string notices::end() {
    restore();
    std::string text;
    char block[4096];
    ssize_t got = 0;
    while ((got = pread(kept.get(), block, sizeof block, static_cast<off_t>(text.size()))) > 0) {
        text.append(block, static_cast<std::size_t>(got));
    }
    return text;
}

void notices::restore() noexcept {
    if (!standard_error.is_open()) {
        return;
    }
    std::fflush(stdout);
    dup2(standard_error.get(), STDOUT_FILENO);
    dup2(standard_error.get(), STDERR_FILENO);
    standard_error = descriptor();
}

}  // namespace kivplug
