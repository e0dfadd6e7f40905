#include "descriptor.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <new>
#include <system_error>
#include <utility>

#include "failure.h"
#include "text.h"

namespace kivplug {

namespace {

namespace fs = std::filesystem;

// The lowest free number is always taken: nobody here has more files open at once.
constexpr int k_most_files = 65536;
constexpr int k_most_links = 40;  // as many as the system follows

constexpr mode_t k_new_file_mode = 0666;  // less what the umask takes away

// O_RDONLY, O_WRONLY or O_RDWR; negative for what is not open.
int access_mode(int number) {
    int const flags = fcntl(number, F_GETFL);
    return flags >= 0 ? flags & O_ACCMODE : flags;
}

// Why a descriptor cannot be read, as an errno value; 0 when it can.
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

std::optional<file_identity> identity_in(struct stat const& status) {
    return S_ISREG(status.st_mode) ? std::optional<file_identity>({status.st_dev, status.st_ino})
                                   : std::nullopt;
}

// Empty when nothing is there; lack of memory is not taken for that.
fs::path real_path(fs::path const& path) {
    std::error_code missing;
    auto real = fs::canonical(path, missing);
    if (missing == std::errc::not_enough_memory) {
        throw std::bad_alloc();
    }
    return real;
}

// Whether the directory, by its real path, holds this process's descriptors.
bool is_own_descriptors(fs::path const& directory) {
    return directory == real_path("/proc/self/fd") ||
           directory == real_path("/proc/thread-self/fd");
}

// Whether to repeat a call that has just failed. Where it would block, because another program made
// a shared stream so, waits until it would not.
bool may_go_on(int number, short int event) {
    if (errno != EAGAIN) {
        return errno == EINTR;
    }
    pollfd waiting{number, event, 0};
    return poll(&waiting, 1, -1) >= 0 || errno == EINTR;
}

[[noreturn]] void cannot_read(std::string const& name, int error) {
    throw failure("cannot read " + name + ": " + error_text(error) +
                  "; give another input with -i");
}

}  // namespace

std::string error_text(int error) {
    return std::generic_category().message(error);
}

std::optional<file_identity> identity_of(std::string const& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 ? identity_in(status) : std::nullopt;
}

std::optional<file_identity> identity_of(int number) {
    struct stat status {};
    return fstat(number, &status) == 0 ? identity_in(status) : std::nullopt;
}

// Tries one number after the other, as nothing simpler protects as much. The reader's path does not
// say what it reads: that of a file in an archive names no file. /proc, which lists open files, may
// not be mounted. Not every file system has leases or locks, and another process may hold them.
// Writing a new file and renaming it would break links and lose the owner.
bool is_open_for_reading(file_identity const& file) {
    long const limit = sysconf(_SC_OPEN_MAX);
    int const end = limit > 0 && limit < k_most_files ? static_cast<int>(limit) : k_most_files;
    for (int number = 0; number < end; ++number) {
        if (access_mode(number) == O_RDONLY && identity_of(number) == file) {
            return true;
        }
    }
    return false;
}

bool is_standard_output(std::string const& path) {
    fs::path name = path;
    for (int links = 0; links < k_most_links; ++links) {
        auto const parent = real_path(name.has_parent_path() ? name.parent_path() : ".");
        if (parent.empty()) {
            return false;
        }
        if (name.filename() == "1" && is_own_descriptors(parent)) {
            return true;
        }
        std::error_code missing;
        auto const target = fs::read_symlink(name, missing);
        if (missing) {
            return false;
        }
        name = parent / target;  // the target alone when it is absolute
    }
    return false;
}

int write_all(int number, void const* bytes, std::size_t count, unsigned long long& written) {
    auto const* rest = static_cast<char const*>(bytes);
    while (count > 0) {
        ssize_t const done = write(number, rest, count);
        if (done < 0 && !may_go_on(number, POLLOUT)) {
            return errno;
        }
        auto const moved = static_cast<std::size_t>(done < 0 ? 0 : done);
        rest += moved;
        count -= moved;
        written += moved;
    }
    return 0;
}

byte_source::byte_source(descriptor opened, std::string called)
    : file(std::move(opened)), name(std::move(called)) {
    int const error = reading_error(file.get());
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
        ssize_t const got = ::read(file.get(), buffer, count);
        if (got >= 0) {
            return static_cast<std::size_t>(got);
        }
        if (!may_go_on(file.get(), POLLIN)) {
            cannot_read(name, errno);
        }
    }
}

byte_sink::byte_sink(descriptor opened, std::string opened_path)
    : file(std::move(opened)), path(std::move(opened_path)) {}

byte_sink byte_sink::to_file(std::string const& path) {
    int const flags = O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC;
    byte_sink sink(descriptor(open(path.c_str(), flags, k_new_file_mode)), path);
    if (sink.file.get() < 0) {
        throw failure("cannot write " + quoted(path) + ": " + error_text(errno) +
                      "; give another output");
    }
    return sink;
}

byte_sink byte_sink::to_standard_output(descriptor file) {
    return {std::move(file), ""};
}

void byte_sink::write(void const* bytes, std::size_t count) {
    int const error = write_all(file.get(), bytes, count, count_written);
    if (error != 0) {
        fail(error);
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
    return isatty(file.get()) != 0;
}

std::string byte_sink::remains() const {
    if (path.empty()) {
        return "";
    }
    return "; " + quoted(path) + " holds only the first " + std::to_string(count_written) +
           " bytes";
}

void byte_sink::fail(int error) const {
    // Only for standard output: any other broken pipe is worth a message.
    if (path.empty() && error == EPIPE) {
        throw output_closed();
    }
    throw failure("cannot write " + (path.empty() ? "standard output" : quoted(path)) + ": " +
                  error_text(error) + "; make room or give another output");
}

}  // namespace kivplug
