// Gzip files, through the C functions of a reader and of a writer. The writer uses zlib's gzFile.
// The reader uses inflate instead, for two reasons. A gzFile mistakes a member that is cut off
// after its first byte, or whose first bytes are damaged, for the end of the file. And it drops
// data that it decompressed before damage.
//
// A handle keeps the position that its host sees. zlib's stream moves there only when bytes are
// transferred. So a seek is free until then, and a writer's seek past the end changes the file
// only if a write follows.
//
// Failures are negative errno values: EBADMSG for content that is not a gzip file, is cut short or
// is damaged.

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <stdbool.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <zlib.h>

#include <kivcore/c_file_api.h>

#include "shared/stream.h"

KIVCORE_C_FILE(gzip_reader);
KIVCORE_C_FILE(gzip_writer);

// For compressed data. Larger than zlib's 8 KiB, for fewer system calls.
enum { k_buffer_size = 256 * 1024 };

// For zlib: the largest window, and only the gzip format.
static int const k_gzip_window = 15 + 16;

struct reader {
    int descriptor;
    bool rewindable;  // false for a pipe, which cannot be read twice
    bool in_member;   // false between a member's trailer and the next one's header
    long long position;
    long long produced;  // bytes decompressed so far: the position of zlib's stream
    long long size;      // -1 until the end has been seen
    z_stream stream;
    unsigned char input[k_buffer_size];
    unsigned char skipped[64 * 1024];  // receives the data before the position
};

struct writer {
    gzFile stream;
    int failure;  // the first one; from then on the file is damaged
    long long position;
};

// Reads until zlib's input has at least `least` bytes (1 or 2). Positive on success, 0 if the
// file ends first.
static int fill(struct reader* reader, unsigned int least) {
    z_stream* const stream = &reader->stream;
    while (stream->avail_in < least) {
        if (stream->avail_in > 0) {
            reader->input[0] = *stream->next_in;
        }
        stream->next_in = reader->input;
        ssize_t const got = read(reader->descriptor, reader->input + stream->avail_in,
                                 sizeof reader->input - stream->avail_in);
        if (got < 0 && errno != EINTR) {
            return -errno;
        }
        if (got == 0) {
            return 0;
        }
        stream->avail_in += got > 0 ? (unsigned int)got : 0;
    }
    return 1;
}

// Positive at the start of another member, 0 at the end. Data after the last member is ignored,
// as gzip does, unless it begins like a member. One of a member's first two bytes is enough for
// that; otherwise a member that is cut off or damaged there would not be noticed.
static int start_next_member(struct reader* reader) {
    int const got = fill(reader, 2);
    unsigned int const left = reader->stream.avail_in;
    unsigned char const* const next = reader->stream.next_in;
    if (got < 0 || left == 0 || (next[0] != 0x1f && (left == 1 || next[1] != 0x8b))) {
        return got < 0 ? got : 0;
    }
    inflateReset(&reader->stream);
    reader->in_member = true;
    return 1;
}

// One step of decompression into the stream's output. Positive if there may be more to do, 0 at
// the end. A failure persists until the next rewind.
static int decompress_some(struct reader* reader) {
    if (!reader->in_member) {
        return start_next_member(reader);
    }
    int got = 0;
    switch (inflate(&reader->stream, Z_NO_FLUSH)) {
        case Z_OK:
            return 1;
        case Z_STREAM_END:  // the trailer was present and correct
            reader->in_member = false;
            return 1;
        case Z_BUF_ERROR:
            got = fill(reader, 1);
            return got != 0 ? got : -EBADMSG;
        case Z_MEM_ERROR:
            return -ENOMEM;
        default:
            return -EBADMSG;
    }
}

// Decompresses the next bytes; 0 at the end. Reports a failure only after all data before it.
// Does not wait for a pipe once there is something to return.
static int decompress(struct reader* reader, void* target, unsigned int count) {
    z_stream* const stream = &reader->stream;
    stream->next_out = target;
    stream->avail_out = count;
    int result = 1;
    while (result > 0 && stream->avail_out > 0 &&
           (reader->rewindable || stream->avail_out == count || stream->avail_in > 1)) {
        result = decompress_some(reader);
    }
    unsigned int const got = count - stream->avail_out;
    reader->produced += got;
    if (result == 0) {
        reader->size = reader->produced;
    }
    return got > 0 ? (int)got : result;
}

// Positive on success.
static int rewind_stream(struct reader* reader) {
    if (lseek(reader->descriptor, 0, SEEK_SET) < 0) {
        return -errno;
    }
    inflateReset(&reader->stream);
    reader->stream.avail_in = 0;
    reader->in_member = true;
    reader->produced = 0;
    return 1;
}

// Moves zlib's stream to the reader's position, or to the end if that comes first.
static int catch_up(struct reader* reader) {
    int got = reader->position < reader->produced ? rewind_stream(reader) : 1;
    while (got > 0 && reader->produced < reader->position) {
        long long const ahead = reader->position - reader->produced;
        unsigned int const most = sizeof reader->skipped;
        got = decompress(reader, reader->skipped, ahead < most ? (unsigned int)ahead : most);
    }
    return got < 0 ? got : 0;
}

// Also refuses an empty file. This is the first read, so a file that cannot be read, such as a
// directory, also fails here.
static int refuse_plain_content(struct reader* reader) {
    int const got = fill(reader, 2);
    if (got <= 0) {
        return got < 0 ? got : -EBADMSG;
    }
    unsigned char const* const next = reader->stream.next_in;
    return next[0] == 0x1f && next[1] == 0x8b ? 0 : -EBADMSG;
}

int gzip_reader_close(void* handle) {
    struct reader* reader = handle;
    if (reader == NULL) {
        return -EBADF;
    }
    // The file was only read, so a failing close loses nothing.
    inflateEnd(&reader->stream);
    close(reader->descriptor);
    free(reader);
    return 0;
}

// Leaves *handle unchanged on failure.
int gzip_reader_open(char const* path, char const* mode, void** handle) {
    if (strcmp(mode, "r") != 0 && strcmp(mode, "rb") != 0) {
        return -EINVAL;
    }
    int const descriptor = open_descriptor(AT_FDCWD, path, O_RDONLY);
    if (descriptor < 0) {
        return descriptor;
    }
    struct reader* reader = calloc(1, sizeof *reader);
    if (reader == NULL) {
        close(descriptor);
        return -ENOMEM;
    }
    reader->descriptor = descriptor;
    reader->rewindable = lseek(descriptor, 0, SEEK_CUR) >= 0;
    reader->in_member = true;
    reader->size = -1;
    bool const has_memory = inflateInit2(&reader->stream, k_gzip_window) == Z_OK;
    int const refused = has_memory ? refuse_plain_content(reader) : -ENOMEM;
    if (refused != 0) {
        gzip_reader_close(reader);
        return refused;
    }
    *handle = reader;
    return 0;
}

int gzip_reader_read(void* handle, void* target, unsigned int count) {
    struct reader* reader = handle;
    if (reader == NULL) {
        return -EBADF;
    }
    if (count == 0 || (reader->size >= 0 && reader->position >= reader->size)) {
        return 0;
    }
    int const behind = catch_up(reader);
    if (behind != 0 || reader->produced < reader->position) {
        return behind;
    }
    int const got = decompress(reader, target, bounded(count));
    reader->position += got > 0 ? got : 0;
    return got;
}

// Decompresses everything once to find the end. The position does not change.
long long gzip_reader_size(void* handle) {
    struct reader* reader = handle;
    if (reader == NULL) {
        return -EBADF;
    }
    if (reader->size >= 0) {
        return reader->size;
    }
    if (!reader->rewindable) {
        return -ESPIPE;
    }
    long long const position = reader->position;
    reader->position = LLONG_MAX;  // larger than any file, so it stops at the end
    int const result = catch_up(reader);
    reader->position = position;
    return result < 0 ? result : reader->size;
}

// The position may be after the end; a read there returns 0. A pipe refuses positions before
// zlib's position, which may differ from the host's.
long long gzip_reader_seek(void* handle, long long offset, unsigned char origin) {
    struct reader* reader = handle;
    if (reader == NULL) {
        return -EBADF;
    }
    long long const position =
        seek_target(reader, gzip_reader_size, reader->position, offset, origin);
    if (position >= 0 && position < reader->produced && !reader->rewindable) {
        return -ESPIPE;
    }
    if (position >= 0) {
        reader->position = position;
    }
    return position;
}

// Takes ownership of the descriptor, even on failure. Null if memory runs out.
static gzFile open_stream(int descriptor, char const* mode) {
    gzFile stream = gzdopen(descriptor, mode);
    if (stream == NULL) {
        close(descriptor);
        return NULL;
    }
    gzbuffer(stream, k_buffer_size);
    return stream;
}

// zlib's error for the stream, or 0. Call it right after the call that may have failed, before
// errno changes.
static int failure_of(gzFile stream) {
    int code = Z_OK;
    gzerror(stream, &code);
    switch (code) {
        case Z_OK:
            return 0;
        case Z_ERRNO:
            return errno != 0 ? -errno : -EIO;
        case Z_MEM_ERROR:
            return -ENOMEM;
        default:
            return -EBADMSG;
    }
}

// Accepts "w" or "a", an optional "b" and an optional level from 1 to 9. zlib accepts any
// letters, and some of them change what is written.
static bool is_write_mode(char const* mode) {
    if (mode[0] != 'w' && mode[0] != 'a') {
        return false;
    }
    char const* rest = mode + (mode[1] == 'b' ? 2 : 1);
    bool const has_level = rest[0] >= '1' && rest[0] <= '9';
    return rest[has_level ? 1 : 0] == '\0';
}

// Leaves *handle unchanged on failure.
int gzip_writer_open(char const* path, char const* mode, void** handle) {
    if (!is_write_mode(mode)) {
        return -EINVAL;
    }
    int const flags = O_WRONLY | O_CREAT | (mode[0] == 'a' ? O_APPEND : O_TRUNC);
    int const descriptor = open_descriptor(AT_FDCWD, path, flags);
    if (descriptor < 0) {
        return descriptor;
    }
    // Allocate before opening the stream: closing the stream would add an empty member to the
    // file.
    struct writer* writer = calloc(1, sizeof *writer);
    if (writer == NULL) {
        close(descriptor);
        return -ENOMEM;
    }
    writer->stream = open_stream(descriptor, mode);
    if (writer->stream == NULL) {
        free(writer);
        return -ENOMEM;
    }
    *handle = writer;
    return 0;
}

// Writes the remaining data and the trailer. The file is complete only if this succeeds.
int gzip_writer_close(void* handle) {
    struct writer* writer = handle;
    if (writer == NULL) {
        return -EBADF;
    }
    // Report the first failure: a failure to write the trailer is only its consequence.
    int const earlier = writer->failure;
    int const code = gzclose(writer->stream);
    int const failure = code == Z_ERRNO && errno != 0 ? -errno : -EIO;
    free(writer);
    if (earlier != 0) {
        return earlier;
    }
    return code == Z_OK ? 0 : failure;
}

int gzip_writer_write(void* handle, void const* source, unsigned int count) {
    struct writer* writer = handle;
    if (writer == NULL) {
        return -EBADF;
    }
    if (writer->failure != 0 || count == 0) {
        return writer->failure;
    }
    // Only forward, which fills the gap with zeros: gzip_writer_seek refuses positions before the
    // end.
    if (writer->position != gztell(writer->stream)) {
        gzseek(writer->stream, writer->position, SEEK_SET);
    }
    int const written = gzwrite(writer->stream, source, bounded(count));
    writer->failure = failure_of(writer->stream);
    if (writer->failure != 0) {
        return writer->failure;
    }
    writer->position += written;
    return written;
}

// After this, everything written so far can be read from the file. It makes compression worse.
int gzip_writer_flush(void* handle) {
    struct writer* writer = handle;
    if (writer == NULL) {
        return -EBADF;
    }
    if (writer->failure == 0) {
        gzflush(writer->stream, Z_SYNC_FLUSH);
        writer->failure = failure_of(writer->stream);
    }
    return writer->failure;
}

// The bytes written through this handle, before compression.
long long gzip_writer_size(void* handle) {
    struct writer* writer = handle;
    return writer != NULL ? gztell(writer->stream) : -EBADF;
}

// Refuses positions before the end, because compressed data cannot be overwritten.
long long gzip_writer_seek(void* handle, long long offset, unsigned char origin) {
    struct writer* writer = handle;
    if (writer == NULL) {
        return -EBADF;
    }
    long long const position =
        seek_target(writer, gzip_writer_size, writer->position, offset, origin);
    if (position >= 0 && position < gztell(writer->stream)) {
        return -EINVAL;
    }
    if (position >= 0) {
        writer->position = position;
    }
    return position;
}
