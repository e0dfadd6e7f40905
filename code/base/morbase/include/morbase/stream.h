// Abstract byte streams: rd reads and wr writes in order; rda and wra can also seek. Positions,
// offsets and sizes are in bytes. Every function returns a negative number on failure; which one
// is up to the stream. Use a stream from one thread at a time. The caller owns the buffers, and a
// stream uses them only during the call. Who owns a stream, and whether its operations raise, is
// up to the class that implements it.
//
// The default versions of tell, peek and size use seek and restore the position; without seek
// they return -1. If a read or seek throws, they restore the position and rethrow. If the
// position cannot be restored, they return -1 or throw, and the position is where the failure
// left it. Override them if your stream has a better way.

#ifndef MORBASE_STREAM_H
#define MORBASE_STREAM_H

#include <morbase/export.h>
#include <morbase/whence.h>

namespace morbase::stream {

// A source that is read in order, for example a pipe or a socket.
class MORBASE_API rd {
  public:
    virtual ~rd();

    // Reads at most count bytes into buffer and advances by as many. Returns the number of bytes
    // read, 0 at the end, negative on failure. Only 0 means the end; a short read does not.
    virtual long long read(void* buffer, unsigned long long count) = 0;

    // The position: the number of bytes before it.
    virtual long long tell();

    // The same as read, but does not move the position.
    virtual long long peek(void* buffer, unsigned long long count);
};

// A source that can be read anywhere, for example a file.
class MORBASE_API rda : public rd {
  public:
    ~rda() override;

    long long tell() override;
    long long peek(void* buffer, unsigned long long count) override;

    // Moves the position to offset, counted from origin. Returns the new position.
    virtual long long seek(long long offset, whence origin) = 0;

    // The size of the whole stream.
    virtual long long size();
};

// A sink that takes bytes in order.
class MORBASE_API wr {
  public:
    virtual ~wr();

    // Writes at most count bytes and advances by as many. Returns the number of bytes written,
    // negative on failure. A short write is not a failure: write the rest with the next call. It
    // always happens if count exceeds the range of int.
    virtual int write(void const* buffer, unsigned long long count) = 0;

    // Writes out everything that the stream has buffered. Returns 0 on success.
    virtual int flush() = 0;

    // The position at which the next byte is written.
    virtual long long tell();
};

// A sink that can be written anywhere.
class MORBASE_API wra : public wr {
  public:
    ~wra() override;

    long long tell() override;

    // Moves the position to offset, counted from origin. Returns the new position.
    virtual long long seek(long long offset, whence origin) = 0;

    // The size of the whole stream.
    virtual long long size();
};

}  // namespace morbase::stream

#endif
