// The bytes of an archive as libarchive's formats see them: part of a file, decompressed. The
// source reads the descriptor with pread, so other users of the descriptor do not interfere.

#ifndef ARCHIVE_SOURCE_H
#define ARCHIVE_SOURCE_H

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

struct archive;  // of libarchive, so this plug-in's namespace has another name
struct archive_entry;

namespace archives {

struct free_archive {
    void operator()(archive* freed) const;
    void operator()(archive_entry* freed) const;
};
using archive_handle = std::unique_ptr<archive, free_archive>;
using entry_handle = std::unique_ptr<archive_entry, free_archive>;

// The bytes of the file from begin to end, followed by the bytes of tail.
struct file_part {
    long long begin = 0;
    long long end = 0;
    std::string tail;
};

class archive_source {
  public:
    archive_source() = default;
    archive_source(archive_source const&) = delete;
    archive_source& operator=(archive_source const&) = delete;

    // Opens the reader, a new handle with its formats, at the beginning of the part. Destroy the
    // handle before the source. The caller keeps ownership of the descriptor. Returns 0, or a
    // negative value; then failure() and the reader's own error give the reason.
    int open(archive* reader, int descriptor, file_part const& from);

    // Continues with another descriptor of the same file.
    void attach(int descriptor) noexcept { file = descriptor; }

    // Limits how many bytes may be decompressed from now on. Negative: no limit.
    void allow(long long bytes) noexcept { allowed = bytes; }
    long long left() const noexcept { return allowed; }

    // Decompresses what the format has not read. Returns 0, or a negative value on failure.
    int drain();

    bool is_compressed() const noexcept { return decoder != nullptr; }
    std::string compression() const;  // "gzip"; empty for none

    // Whether the format tried to read past the end, and whether it has sought. forget() resets
    // both.
    bool is_exhausted() const noexcept { return exhausted; }
    bool was_sought() const noexcept { return sought; }
    void forget() noexcept { exhausted = sought = false; }

    // Why the source failed: an errno value, 0 for no failure, EFBIG if the limit was exceeded.
    int failure() const noexcept { return failed; }
    std::string message() const;

  private:
    static ssize_t read_part(archive* reader, void* source, void const** data);
    static ssize_t read_decoded(archive* reader, void* source, void const** data);
    static std::int64_t skip_part(archive* reader, void* source, std::int64_t count);
    static std::int64_t seek_part(archive* reader, void* source, std::int64_t offset, int whence);

    ssize_t next_piece(void const** data);
    ssize_t next_decoded(void const** data);
    long long file_size() const noexcept { return part.end - part.begin; }
    long long size() const noexcept {
        return file_size() + static_cast<long long>(part.tail.size());
    }
    int start_decoder(int filter);

    int file = -1;
    file_part part;
    long long position = 0;
    std::unique_ptr<char[]> block;
    std::size_t next_block = 0;
    archive_handle decoder;
    long long allowed = -1;
    int failed = 0;
    bool exhausted = false;
    bool sought = false;
};

}  // namespace archives

#endif
