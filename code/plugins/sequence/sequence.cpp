// Numbered files as a kivcore::multi_file_reader. For the pattern that it opens see
// name_pattern.h, for the files that belong to it file_row.h.
//
// Only one file is open at a time, the one that was read last. A position is between 0 and the
// size; other seeks are refused. An empty file contains no position: if it is selected, the
// current file is the next one that is not empty.
//
// Failures are negative errno values, listed in plugin.xml, which is installed. A read that fails
// half-way returns the data before the failure; the next read reports the failure.

#include <algorithm>
#include <cerrno>
#include <climits>
#include <memory>
#include <new>
#include <string>
#include <utility>

#include <kivcore/multi_file_reader.h>

#include "file_row.h"
#include "shared/descriptor.h"
#include "shared/read_stream.h"
#include "shared/stream.h"

namespace sequence {

namespace {

class sequence_reader final : public kivcore::multi_file_reader {
  public:
    int open(std::string const& path, std::string const& mode) override;
    int close() override;

    long long read(void* buffer, unsigned long long count) override;
    long long seek(long long offset, morbase::whence origin) override;
    long long tell() override { return row ? position : -EBADF; }
    long long size() override { return row ? row->size() : -EBADF; }

    unsigned int file_count() override { return row ? static_cast<unsigned>(row->count()) : 0; }
    std::string file_path(unsigned int index) override;
    long long file_size(unsigned int index) override;
    unsigned int current_file() override;
    int select_file(unsigned int index) override;

  private:
    int use_file(std::size_t index);
    long long read_some(char* target, long long wanted);

    std::unique_ptr<file_row> row;  // null while closed
    long long position = 0;
    bundled::descriptor file;    // the file that was read last
    std::size_t file_index = 0;  // its index, if one is open
};

int sequence_reader::open(std::string const& path, std::string const& mode) {
    int const refused = bundled::refuse_open(row != nullptr, mode);
    if (refused != 0) {
        return refused;
    }
    try {
        auto found = std::make_unique<file_row>();
        int const failure = found->find(path);
        if (failure == 0) {
            row = std::move(found);
            position = 0;
        }
        return failure;
    } catch (std::bad_alloc const&) {
        return -ENOMEM;
    }
}

int sequence_reader::close() {
    file = bundled::descriptor();
    row.reset();
    return 0;
}

long long sequence_reader::read(void* buffer, unsigned long long count) {
    if (!row) {
        return -EBADF;
    }
    auto const left = static_cast<unsigned long long>(row->size() - position);
    auto const wanted = static_cast<long long>(std::min(count, left));
    auto* const target = static_cast<char*>(buffer);
    long long done = 0;
    while (done < wanted) {
        long long const moved = read_some(target + done, wanted - done);
        if (moved < 0) {
            return done > 0 ? done : moved;
        }
        done += moved;
        position += moved;
    }
    return done;
}

// Reads at least one byte from the file at the position, or fails.
long long sequence_reader::read_some(char* target, long long wanted) {
    std::size_t const index = row->index_at(position);
    int const failure = use_file(index);
    if (failure != 0) {
        return failure;
    }
    auto const most = std::min<long long>(wanted, SSIZE_MAX);  // SSIZE_MAX may have only 32 bits
    auto const count = static_cast<std::size_t>(std::min(most, row->end(index) - position));
    ssize_t const moved = bundled::read_at(file.get(), target, count, position - row->begin(index));
    return moved != 0 ? moved : -EIO;
}

// Opens the file unless it is open already. Closes the former one first: there may be more files
// than a process may have descriptors.
int sequence_reader::use_file(std::size_t index) try {
    if (file.is_open() && file_index == index) {
        return 0;
    }
    file = bundled::descriptor();
    file = row->open_file(index);
    file_index = index;
    return file.is_open() ? 0 : file.get();
} catch (std::bad_alloc const&) {
    return -ENOMEM;
}

long long sequence_reader::seek(long long offset, morbase::whence origin) {
    if (!row) {
        return -EBADF;
    }
    long long const target = bundled::seek_target(*this, offset, origin);
    if (target < 0 || target > row->size()) {
        return -EINVAL;
    }
    position = target;
    return target;
}

std::string sequence_reader::file_path(unsigned int index) {
    return index < file_count() ? row->path(index) : std::string();
}

long long sequence_reader::file_size(unsigned int index) {
    if (!row) {
        return -EBADF;
    }
    return index < file_count() ? row->end(index) - row->begin(index) : -EINVAL;
}

unsigned int sequence_reader::current_file() {
    return row ? static_cast<unsigned int>(row->index_at(position)) : 0;
}

int sequence_reader::select_file(unsigned int index) {
    if (!row) {
        return -EBADF;
    }
    if (index >= file_count()) {
        return -EINVAL;
    }
    position = row->begin(index);
    return 0;
}

}  // namespace

}  // namespace sequence

extern "C" EXPORTED kivcore::plugin* sequence_create() {
    return new sequence::sequence_reader;
}
