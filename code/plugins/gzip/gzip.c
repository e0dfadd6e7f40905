// Gzip files behind the C functions of a reader and of a writer, over zlib's gzFile.
//
// A handle keeps the position that its host sees. zlib's own stream is brought there
// only when bytes are moved, so a seek costs nothing until then and a seek past the
// end of a writer's data that is followed by no write leaves no trace in the file.
//
// Failures are negative errno values: EBADMSG for content that is no gzip file, is cut
// short or is damaged.

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <stdbool.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <zlib.h>

#include "../c_stream.h"

// In place of zlib's 8 KiB: fewer calls of the system, and longer runs to decompress.
static unsigned int const k_buffer_size = 256 * 1024;

struct reader {
    gzFile stream;
    bool rewindable;  // false for a pipe: what was read from it is gone
    int failure;      // of the last read; zlib's stream must then be rewound before it is used
    long long position;
    long long size;  // -1 until the end has been seen
};

struct writer {
    gzFile stream;
    int failure;  // the first one: the file is damaged for good
    long long position;
};

// Takes the descriptor, also when it fails. Null for want of memory.
static gzFile open_stream(int descriptor, char const* mode) {
    gzFile stream = gzdopen(descriptor, mode);
    if (stream == NULL) {
        close(descriptor);
        return NULL;
    }
    gzbuffer(stream, k_buffer_size);
    return stream;
}

// What zlib has against the stream, 0 if nothing. To be asked right after the call that
// may have failed: errno is still that call's then.
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

// zlib passes on what is no gzip file as it is. Here that is a failure, also for an empty
// file. This is the first read, so what cannot be read, a directory, fails here as well.
static int refuse_plain_content(gzFile stream) {
    bool const plain = gzdirect(stream) != 0;
    int const failure = failure_of(stream);
    return failure == 0 && plain ? -EBADMSG : failure;
}

// Leaves *handle alone unless it succeeds.
EXPORTED int gzip_reader_open(char const* path, char const* mode, void** handle) {
    if (strcmp(mode, "r") != 0 && strcmp(mode, "rb") != 0) {
        return -EINVAL;
    }
    int const descriptor = open_descriptor(path, O_RDONLY);
    if (descriptor < 0) {
        return descriptor;
    }
    bool const rewindable = lseek(descriptor, 0, SEEK_CUR) >= 0;
    gzFile stream = open_stream(descriptor, "r");
    if (stream == NULL) {
        return -ENOMEM;
    }
    int const refused = refuse_plain_content(stream);
    struct reader* reader = refused == 0 ? malloc(sizeof *reader) : NULL;
    if (reader == NULL) {
        gzclose(stream);
        return refused != 0 ? refused : -ENOMEM;
    }
    *reader = (struct reader){.stream = stream, .rewindable = rewindable, .size = -1};
    *handle = reader;
    return 0;
}

EXPORTED int gzip_reader_close(void* handle) {
    struct reader* reader = handle;
    if (reader == NULL) {
        return -EBADF;
    }
    // Nothing is lost when the close of a file that was read fails.
    gzclose(reader->stream);
    free(reader);
    return 0;
}

// Brings zlib's stream to the reader's position. After a failure it starts afresh: zlib
// drops what it had decompressed by then, so it does not know where it stands; and it
// forgets the failure when it seeks forward, and would take the damage for the end.
static int catch_up(struct reader* reader) {
    if (reader->failure != 0) {
        if (!reader->rewindable) {
            return reader->failure;
        }
        gzclearerr(reader->stream);
        if (gzrewind(reader->stream) != 0) {
            return -errno;
        }
        reader->failure = 0;
    }
    if (gztell(reader->stream) == reader->position) {
        return 0;
    }
    return gzseek(reader->stream, reader->position, SEEK_SET) >= 0 ? 0 : -errno;
}

// What follows the last member and does not begin like one is ignored, as gzip does.
EXPORTED int gzip_reader_read(void* handle, void* target, unsigned int count) {
    struct reader* reader = handle;
    if (reader == NULL) {
        return -EBADF;
    }
    if (count == 0 || (reader->size >= 0 && reader->position >= reader->size)) {
        return 0;
    }
    int const behind = catch_up(reader);
    if (behind != 0) {
        return behind;
    }
    unsigned int const wanted = bounded(count);
    int const got = gzread(reader->stream, target, wanted);
    // A file that is cut short gives the bytes before the cut and a failure together.
    reader->failure = failure_of(reader->stream);
    if (got <= 0 && reader->failure != 0) {
        return reader->failure;
    }
    if (reader->failure == 0 && (unsigned int)got < wanted) {
        reader->size = gztell(reader->stream);
    }
    reader->position += got;
    return got;
}

// Decompresses everything once to find the end; the position stays.
EXPORTED long long gzip_reader_size(void* handle) {
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
    reader->position = LLONG_MAX;  // no file gets there: reading stops at the end
    char beyond = 0;
    int const result = gzip_reader_read(reader, &beyond, 1);
    reader->position = position;
    return result < 0 ? result : reader->size;
}

// To behind the end as well, where a read then finds nothing. What cannot be read twice
// refuses positions before zlib's own, which is not always where the host stands.
EXPORTED long long gzip_reader_seek(void* handle, long long offset, unsigned char origin) {
    struct reader* reader = handle;
    if (reader == NULL) {
        return -EBADF;
    }
    long long const position =
        seek_target(reader, gzip_reader_size, reader->position, offset, origin);
    if (position >= 0 && position < gztell(reader->stream) && !reader->rewindable) {
        return -ESPIPE;
    }
    if (position >= 0) {
        reader->position = position;
    }
    return position;
}

// "w" or "a", then a "b" or nothing, then a level from 1 to 9 or nothing. zlib itself takes
// any letters, and some of them change what is written.
static bool is_write_mode(char const* mode) {
    if (mode[0] != 'w' && mode[0] != 'a') {
        return false;
    }
    char const* rest = mode + (mode[1] == 'b' ? 2 : 1);
    bool const has_level = rest[0] >= '1' && rest[0] <= '9';
    return rest[has_level ? 1 : 0] == '\0';
}

// Leaves *handle alone unless it succeeds.
EXPORTED int gzip_writer_open(char const* path, char const* mode, void** handle) {
    if (!is_write_mode(mode)) {
        return -EINVAL;
    }
    int const flags = O_WRONLY | O_CREAT | (mode[0] == 'a' ? O_APPEND : O_TRUNC);
    int const descriptor = open_descriptor(path, flags);
    if (descriptor < 0) {
        return descriptor;
    }
    // Before the stream: to close that again would add an empty member to the file.
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

// Writes what is left and the trailer: the file is whole only when this succeeds.
EXPORTED int gzip_writer_close(void* handle) {
    struct writer* writer = handle;
    if (writer == NULL) {
        return -EBADF;
    }
    // The first failure is the cause; that the trailer fails as well is its consequence.
    int const earlier = writer->failure;
    int const code = gzclose(writer->stream);
    int const failure = code == Z_ERRNO && errno != 0 ? -errno : -EIO;
    free(writer);
    if (earlier != 0) {
        return earlier;
    }
    return code == Z_OK ? 0 : failure;
}

EXPORTED int gzip_writer_write(void* handle, void const* source, unsigned int count) {
    struct writer* writer = handle;
    if (writer == NULL) {
        return -EBADF;
    }
    if (writer->failure != 0 || count == 0) {
        return writer->failure;
    }
    // Never back: seeks do not lead behind what is written. Forward fills with zeros.
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

// All that was written can be read from the file after this. It costs compression.
EXPORTED int gzip_writer_flush(void* handle) {
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

// What this handle has written, before compression.
EXPORTED long long gzip_writer_size(void* handle) {
    struct writer* writer = handle;
    return writer != NULL ? gztell(writer->stream) : -EBADF;
}

// Never to before the end: what is compressed cannot be written over.
EXPORTED long long gzip_writer_seek(void* handle, long long offset, unsigned char origin) {
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
