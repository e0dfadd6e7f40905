#include "descriptor.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>

#include "failure.h"
#include "text.h"

namespace kivplug {

namespace {

constexpr mode_t k_new_file_mode = 0666;  // less what the umask takes away

// O_RDONLY, O_WRONLY or O_RDWR; negative for what is not open.
int access_mode(int number) {
    int const flags = fcntl(number, F_GETFL);
    return flags >= 0 ? flags & O_ACCMODE : flags;
}

// What keeps a descriptor from being read, as an errno value; 0 when nothing does.
int reading_error(int number) {
    if (number < 0) {
        return errno;  // of the call that was to open it
    }
    struct stat status {};
    if (fstat(number, &status) != 0) {
        return errno;
    }
    if (access_mode(number) == O_WRONLY) {
        return EBADF;
    }
    return S_ISDIR(status.st_mode) ? EISDIR : 0;
}

[[noreturn]] void cannot_read(std::string const& name, int error) {
    throw failure("cannot read " + name + ": " + error_text(error) +
                  "; give another input with -i");
}

}  // namespace

std::string error_text(int error) {
    return std::generic_category().message(error);
}

descriptor& descriptor::operator=(descriptor&& other) noexcept {
    descriptor previous(std::exchange(held, other.release()));
    return *this;
}

descriptor::~descriptor() {
    if (held >= 0) {
        close(held);  // where the result matters, the owner has closed it before
    }
}

int descriptor::release() noexcept {
    return std::exchange(held, -1);
}

bool is_open_for_reading(std::string const& path) {
    struct stat wanted {};
    if (stat(path.c_str(), &wanted) != 0 || !S_ISREG(wanted.st_mode)) {
        return false;
    }
    std::error_code unknown;  // where descriptors cannot be listed nothing is known of them
    for (auto const& entry : std::filesystem::directory_iterator("/proc/self/fd", unknown)) {
        int const number = std::stoi(entry.path().filename().string());
        struct stat opened {};
        if (access_mode(number) == O_RDONLY && fstat(number, &opened) == 0 &&
            opened.st_dev == wanted.st_dev && opened.st_ino == wanted.st_ino) {
            return true;
        }
    }
    return false;
}

byte_source::byte_source(descriptor opened, std::string called)
    : file(std::move(opened)), name(std::move(called)) {
    int const error = reading_error(file.number());
    if (error != 0) {
        cannot_read(name, error);
    }
}

byte_source byte_source::from_file(std::string const& path) {
    return {descriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC)), quoted(path)};
}

// A duplicate, above the standard numbers: closing it leaves the program's own open.
byte_source byte_source::from_standard_input() {
    return {descriptor(fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1)), "standard input"};
}

std::size_t byte_source::read(void* buffer, std::size_t count) {
    for (;;) {
        ssize_t const got = ::read(file.number(), buffer, count);
        if (got >= 0) {
            return static_cast<std::size_t>(got);
        }
        if (errno != EINTR) {
            cannot_read(name, errno);
        }
    }
}

byte_sink::byte_sink(descriptor opened, std::string opened_path)
    : file(std::move(opened)), path(std::move(opened_path)) {}

byte_sink byte_sink::to_file(std::string const& path) {
    int const flags = O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC;
    byte_sink sink(descriptor(open(path.c_str(), flags, k_new_file_mode)), path);
    if (sink.file.number() < 0) {
        throw failure("cannot write " + quoted(path) + ": " + error_text(errno) +
                      "; give another output with -o");
    }
    return sink;
}

byte_sink byte_sink::to_standard_output(descriptor file) {
    return {std::move(file), ""};
}

void byte_sink::write(void const* bytes, std::size_t count) {
    auto const* rest = static_cast<char const*>(bytes);
    while (count > 0) {
        ssize_t const done = ::write(file.number(), rest, count);
        if (done < 0 && errno == EINTR) {
            continue;
        }
        if (done < 0) {
            fail(errno);
        }
        rest += done;
        count -= static_cast<std::size_t>(done);
        count_written += static_cast<unsigned long long>(done);
    }
}

void byte_sink::write(std::string const& text) {
    write(text.data(), text.size());
}

// An interrupted close has closed: what was written is with the system.
void byte_sink::finish() {
    int const number = file.release();
    if (number >= 0 && close(number) != 0 && errno != EINTR) {
        fail(errno);
    }
}

bool byte_sink::is_terminal() const noexcept {
    return isatty(file.number()) != 0;
}

std::string byte_sink::opened_path() const {
    return "/proc/self/fd/" + std::to_string(file.number());
}

std::string byte_sink::remains() const {
    if (path.empty()) {
        return "";
    }
    return "; " + quoted(path) + " holds only the first " + std::to_string(count_written) +
           " bytes";
}

void byte_sink::fail(int error) const {
    // Only standard output: that somebody else's pipe broke is worth a message.
    if (path.empty() && error == EPIPE) {
        throw output_closed();
    }
    throw failure("cannot write " + (path.empty() ? "standard output" : quoted(path)) + ": " +
                  error_text(error) + "; make room or give another output");
}

}  // namespace kivplug
