#include "archive_source.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>

#include <archive.h>
#include <archive_entry.h>

#include "shared/descriptor.h"
#include "shared/stream.h"

namespace archives {

namespace {

// The size of one read: small after a seek, when a format searches for something, and larger with
// each sequential read, until the cost of a system call hardly matters.
constexpr std::size_t k_first_block = std::size_t{8} * 1024;
constexpr std::size_t k_largest_block = std::size_t{64} * 1024;

struct compression_mark {
    int filter;
    char const* (*version)();
    char const* bytes;  // at the start of such a file; "?" matches any byte
    std::size_t size;
};

// If libarchive was built without the library for a compression, it would start a program
// instead. In that case the version is null, and the compression counts as unknown.
constexpr compression_mark k_marks[] = {
    {ARCHIVE_FILTER_GZIP, archive_zlib_version, "\x1f\x8b\x08", 3},
    {ARCHIVE_FILTER_BZIP2, archive_bzlib_version, "BZh?1AY&SY", 10},
    {ARCHIVE_FILTER_XZ, archive_liblzma_version, "\xfd\x37zXZ\0", 6},
    {ARCHIVE_FILTER_ZSTD, archive_libzstd_version, "\x28\xb5\x2f\xfd", 4},
    {ARCHIVE_FILTER_ZSTD, archive_libzstd_version, "?\x2a\x4d\x18", 4},  // a frame to skip first
};

bool begins_with(char const* data, std::size_t size, compression_mark const& mark) {
    return size >= mark.size &&
           std::equal(mark.bytes, mark.bytes + mark.size, data,
                      [](char wanted, char c) { return wanted == '?' || wanted == c; });
}

// Replaces archive_read_open2, which crashes if it cannot allocate the callback data.
int open_reader(archive* reader, archive_source* source, archive_read_callback* read,
                archive_skip_callback* skip) {
    archive_read_set_read_callback(reader, read);
    archive_read_set_skip_callback(reader, skip);
    int const result = archive_read_set_callback_data(reader, source);
    return result == ARCHIVE_OK ? archive_read_open1(reader) : result;
}

}  // namespace

void free_archive::operator()(archive* freed) const {
    archive_read_free(freed);
}

void free_archive::operator()(archive_entry* freed) const {
    archive_entry_free(freed);
}

// Removes only one compression: the content of nested ones can be of any size, and a step of the
// outer ones may run for ever without producing a byte.
int archive_source::open(archive* reader, int descriptor, file_part const& from) {
    file = descriptor;
    part = from;
    position = 0;
    failed = 0;
    decoder.reset();
    next_block = k_first_block;
    block.reset(new char[k_largest_block]);
    forget();
    char start[16];
    ssize_t const got = bundled::read_at(file, start, sizeof start, part.begin);
    if (got < 0) {
        failed = static_cast<int>(-got);
        return -failed;
    }
    for (compression_mark const& mark : k_marks) {
        if (mark.version() != nullptr && begins_with(start, static_cast<std::size_t>(got), mark)) {
            int const result = start_decoder(mark.filter);
            return result != ARCHIVE_OK ? result : open_reader(reader, this, read_decoded, nullptr);
        }
    }
    archive_read_set_seek_callback(reader, seek_part);
    return open_reader(reader, this, read_part, skip_part);
}

int archive_source::start_decoder(int filter) {
    decoder.reset(archive_read_new());
    entry_handle const whole(archive_entry_new());
    archive* const handle = decoder.get();
    if (handle == nullptr || !whole) {
        failed = ENOMEM;
        return -failed;
    }
    int result = archive_read_append_filter(handle, filter);
    if (result == ARCHIVE_OK) {
        result = archive_read_support_format_raw(handle);
    }
    if (result == ARCHIVE_OK) {
        result = open_reader(handle, this, read_part, skip_part);
    }
    if (result == ARCHIVE_OK) {
        result = archive_read_next_header2(handle, whole.get());
    }
    if (result != ARCHIVE_OK && failed == 0) {
        failed = archive_errno(handle) == ENOMEM ? ENOMEM : EBADMSG;
    }
    return result;
}

std::string archive_source::compression() const {
    return decoder ? archive_filter_name(decoder.get(), 0) : "";
}

int archive_source::drain() {
    void const* ignored = nullptr;
    ssize_t got = decoder ? 1 : 0;
    while (got > 0) {
        got = next_decoded(&ignored);
    }
    return got < 0 ? -failed : 0;
}

// The next bytes of the part. Returns their number, 0 at the end, -1 on failure.
ssize_t archive_source::next_piece(void const** data) {
    long long const in_file = file_size() - position;
    if (in_file <= 0) {
        long long const left = std::max(size() - position, 0LL);
        *data = part.tail.data() + (part.tail.size() - static_cast<std::size_t>(left));
        position += left;
        return static_cast<ssize_t>(left);
    }
    auto const wanted = std::min(in_file, static_cast<long long>(next_block));
    ssize_t const got = bundled::read_at(file, block.get(), static_cast<std::size_t>(wanted),
                                         part.begin + position);
    if (got < 0) {
        failed = static_cast<int>(-got);
        return -1;
    }
    *data = block.get();
    position += got;
    next_block = std::min(2 * next_block, k_largest_block);
    return got;
}

// The next decompressed bytes. Returns their number, 0 at the end, -1 on failure.
ssize_t archive_source::next_decoded(void const** data) {
    std::size_t count = 0;
    la_int64_t offset = 0;
    int const result = archive_read_data_block(decoder.get(), data, &count, &offset);
    if (result != ARCHIVE_OK && result != ARCHIVE_EOF) {
        failed = failed != 0 ? failed : archive_errno(decoder.get()) == ENOMEM ? ENOMEM : EBADMSG;
        return -1;
    }
    if (result == ARCHIVE_EOF) {
        return 0;
    }
    if (allowed >= 0) {
        allowed -= std::min(allowed, static_cast<long long>(count));
        if (allowed == 0) {
            failed = EFBIG;
            return -1;
        }
    }
    return static_cast<ssize_t>(count);
}

std::string archive_source::message() const {
    if (failed == EFBIG) {
        return "too much data must be decompressed to reach the next entry";
    }
    char const* const text = decoder ? archive_error_string(decoder.get()) : nullptr;
    return text != nullptr ? text : "cannot read the archive's file";
}

ssize_t archive_source::read_part(archive* reader, void* source, void const** data) {
    auto& self = *static_cast<archive_source*>(source);
    ssize_t const got = self.next_piece(data);
    if (got < 0) {
        archive_set_error(reader, self.failed, "cannot read the archive's file");
    }
    self.exhausted = self.exhausted || (got == 0 && !self.decoder);
    return got;
}

ssize_t archive_source::read_decoded(archive* reader, void* source, void const** data) {
    auto& self = *static_cast<archive_source*>(source);
    ssize_t const got = self.next_decoded(data);
    if (got < 0) {
        archive_set_error(reader, self.failed, "cannot decompress the archive");
    }
    self.exhausted = self.exhausted || got == 0;
    return got;
}

// Does not skip past the end: that would hide that a file is truncated.
std::int64_t archive_source::skip_part(archive*, void* source, std::int64_t count) {
    auto& self = *static_cast<archive_source*>(source);
    auto const skipped = std::min<long long>(count, std::max(self.size() - self.position, 0LL));
    self.position += skipped;
    return skipped;
}

std::int64_t archive_source::seek_part(archive*, void* source, std::int64_t offset, int whence) {
    auto& self = *static_cast<archive_source*>(source);
    auto const size = [](void* asked) { return static_cast<archive_source*>(asked)->size(); };
    long long const target = seek_target(source, size, self.position, offset, whence);
    if (target < 0 || target > self.size()) {
        return ARCHIVE_FATAL;
    }
    self.position = target;
    self.next_block = k_first_block;
    self.sought = true;
    return self.position;
}

}  // namespace archives
