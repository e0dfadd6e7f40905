// Bytes in and out of file descriptors, for verbs that stream. Each class owns its descriptor and
// can be moved, not copied. Errors are raised as failures that name the file.

#ifndef KIVPLUG_DESCRIPTOR_H
#define KIVPLUG_DESCRIPTOR_H

#include <cstddef>
#include <optional>
#include <string>

#include "shared/descriptor.h"

namespace kivplug {

// The system's text for an errno value.
std::string error_text(int error);

using bundled::descriptor;

// Identifies a regular file.
struct file_identity {
    unsigned long long device;
    unsigned long long number;

    bool operator==(file_identity const& other) const {
        return device == other.device && number == other.number;
    }
};

// Empty for a missing file and for anything but a regular file: a terminal may be both read and
// written.
std::optional<file_identity> identity_of(std::string const& path);
std::optional<file_identity> identity_of(int number);

// Whether this process, plug-ins included, has the file open for reading only. A file that is open
// for writing as well may be standard output itself.
bool is_open_for_reading(file_identity const& file);

// Whether path names standard output: /dev/stdout, the names below /proc that it leads to, and
// links to them.
bool is_standard_output(std::string const& path);

// Writes all of it, and waits where that would block. Returns 0 or an errno value; adds the number
// of bytes that were written to `written`.
int write_all(int number, void const* bytes, std::size_t count, unsigned long long& written);

class byte_source {
  public:
    // Both raise at once when there is nothing to read, so that no output is touched:
    // no such file, a directory, a closed standard input.
    static byte_source from_file(std::string const& path);
    static byte_source from_standard_input();

    // Reads at most count bytes. Returns how many, 0 at the end.
    std::size_t read(void* buffer, std::size_t count);

  private:
    // When opened holds none, errno still says why.
    byte_source(descriptor opened, std::string called);

    descriptor file;
    std::string name;
};

class byte_sink {
  public:
    // Creates a file, or empties the existing one.
    static byte_sink to_file(std::string const& path);

    // The program's standard output, whatever its number is now.
    static byte_sink to_standard_output(descriptor file);

    // Writes all of it. Raises output_closed when nobody reads standard output any more.
    void write(void const* bytes, std::size_t count);
    void write(std::string const& text);

    // Closes the descriptor: some file systems report a full disk only then. Nothing
    // can be written afterwards.
    void finish();

    // How many bytes have been written.
    unsigned long long written() const noexcept { return count_written; }

    bool is_terminal() const noexcept;

    // The descriptor's number; negative when nothing is open.
    int number() const noexcept { return file.get(); }

    // What a failed transfer leaves behind, as the end of its message.
    std::string remains() const;

  private:
    byte_sink(descriptor opened, std::string opened_path);

    [[noreturn]] void fail(int error) const;

    descriptor file;
    std::string path;  // empty for standard output
    unsigned long long count_written = 0;
};

}  // namespace kivplug

#endif
