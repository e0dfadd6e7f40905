// Files and directories made for one test and removed after it.

#ifndef TESTS_SUPPORT_FILES_H
#define TESTS_SUPPORT_FILES_H

#include <cstddef>
#include <filesystem>
#include <string>

namespace support {

class temporary_directory {
  public:
    temporary_directory();
    ~temporary_directory();

    temporary_directory(temporary_directory const&) = delete;
    temporary_directory& operator=(temporary_directory const&) = delete;

    // Its path, or the path of an entry in it.
    std::string path(std::string const& name = "") const;

    // Writes a file and creates the directories that its path needs; returns its path.
    std::string write(std::string const& name, std::string const& content) const;

    // Runs a shell command in it; returns the command's status.
    int shell(std::string const& command) const;

  private:
    std::filesystem::path root;
};

std::string read_file(std::string const& path);

// The number of files that this process has open.
std::ptrdiff_t open_files();

// Text to fill files with; no two parts of it are alike.
std::string sample(std::size_t size);

}  // namespace support

#endif
