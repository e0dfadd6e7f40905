// The bytes of an archive as libarchive's formats get them: part of a file, without its
// compression. The descriptor is read at positions of its own, so that nobody else who reads
// through it matters.

#ifndef KIVCORE_ARCHIVE_SOURCE_H
#define KIVCORE_ARCHIVE_SOURCE_H

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

struct archive;
struct archive_entry;

namespace kivcore_archive {

struct free_archive {
    void operator()(archive* freed) const;
    void operator()(archive_entry* freed) const;
};
using archive_handle = std::unique_ptr<archive, free_archive>;
using entry_handle = std::unique_ptr<archive_entry, free_archive>;

// What is in the file from begin to end, and after it the bytes of tail.
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

    // Opens the reader, a new handle with its formats, on the part from its beginning. Destroy the
    // handle before the source. The descriptor stays owned by the caller. 0, or negative: failure()
    // and the reader's own error say why.
    int open(archive* reader, int descriptor, file_part const& from);

    // Reads on through another descriptor of the same file.
    void attach(int descriptor) noexcept { file = descriptor; }

    // How many bytes may be decompressed from here on. Negative: any number.
    void allow(long long bytes) noexcept { allowed = bytes; }
    long long left() const noexcept { return allowed; }

    // Decompresses what the format left. 0 or negative.
    int drain();

    bool is_compressed() const noexcept { return decoder != nullptr; }
    std::string compression() const;  // "gzip"; empty for none

    // Whether the format asked for more than there is, and whether it left the order of the
    // bytes. forget() has both false again.
    bool is_exhausted() const noexcept { return exhausted; }
    bool was_sought() const noexcept { return sought; }
    void forget() noexcept { exhausted = sought = false; }

    // What kept the source from giving its bytes: an errno value, 0 for nothing. EFBIG for more
    // than was allowed.
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

}  // namespace kivcore_archive

#endif
