#include "output.h"

#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>

namespace kivplug {

namespace {

// A standard descriptor that the caller closed would be the number of the next file
// opened, and messages would end up in that file. Write only: reading from a closed
// standard input stays an error.
void fill_closed_descriptors() {
    int number = 0;
    while (number >= 0 && number <= STDERR_FILENO) {
        number = open("/dev/null", O_WRONLY | O_CLOEXEC);
    }
    descriptor const not_needed(number);
}

}  // namespace

byte_sink take_standard_output() {
    std::signal(SIGPIPE, SIG_IGN);  // writes answer EPIPE instead: see output_closed
    std::signal(SIGXFSZ, SIG_IGN);  // and EFBIG where the size of files is limited
    // When it is closed there is none to take; the first write will say so.
    descriptor own(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
    fill_closed_descriptors();
    dup2(STDERR_FILENO, STDOUT_FILENO);
    std::setvbuf(stdout, nullptr, _IOLBF, 0);  // notices appear among our messages, in order
    return byte_sink::to_standard_output(std::move(own));
}

}  // namespace kivplug
