// The files of one sequence, as they were when it was opened: their names from a pattern, their
// sizes, and where each begins when they are joined. It keeps the directory open, but none of the
// files.

#ifndef SEQUENCE_FILE_ROW_H
#define SEQUENCE_FILE_ROW_H

#include <cstddef>
#include <string>
#include <vector>

#include "name_pattern.h"
#include "shared/descriptor.h"
#include "shared/directory.h"

namespace sequence {

class file_row {
  public:
    // Finds the files of a pattern, which may begin with a directory. Returns 0, or a negative
    // errno value after printing the reason to standard error. Call it only once. Raises
    // std::bad_alloc.
    int find(std::string const& pattern);

    std::size_t count() const { return ends.size(); }  // at least 1 after find
    std::string path(std::size_t index) const;
    long long begin(std::size_t index) const { return index == 0 ? 0 : ends[index - 1]; }
    long long end(std::size_t index) const { return ends[index]; }
    long long size() const { return ends.back(); }

    // The file that contains the byte at position; the last file if position is the end.
    std::size_t index_at(long long position) const;

    // Opens a file for reading. On failure the result holds the negative errno value. Raises
    // std::bad_alloc.
    bundled::descriptor open_file(std::size_t index) const;

  private:
    int list_numbers(std::vector<long long>& numbers);
    int refuse_gap(std::vector<long long> const& numbers) const;
    int measure(std::size_t files);

    std::string directory_path;  // with its separator; empty for the current directory
    name_pattern names;
    bundled::directory_handle directory;
    long long first_number = 0;
    std::vector<long long> ends;
};

}  // namespace sequence

#endif
