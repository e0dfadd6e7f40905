// Abstract byte streams: rd reads and wr writes in order, rda and wra can also
// seek. Positions, offsets and sizes are in bytes. Every result is negative for
// a failure; which negative number is the stream's own to say. A stream is used by
// one thread at a time. Buffers stay the caller's: a stream looks at them during the
// call only. Who owns a stream, and whether its operations raise, is up to the class
// that implements it.
//
// tell, peek and size have versions here that work through seek and restore the position;
// a stream that cannot seek answers -1. When a read or seek throws, they restore the
// position and pass on what was thrown. Where the position cannot be restored they answer
// -1 or throw, and it is where the failure left it. A stream that knows better overrides
// them.

#ifndef MORBASE_STREAM_H
#define MORBASE_STREAM_H

#include <morbase/export.h>
#include <morbase/whence.h>

namespace morbase::stream {

// Bytes that come in order: a pipe, a socket.
class MORBASE_API rd {
  public:
    virtual ~rd();

    // Reads at most count bytes into buffer and moves on behind them. Returns
    // how many were read, 0 at the end, negative for a failure. Fewer than count is
    // no end: only 0 is.
    virtual long long read(void* buffer, unsigned long long count) = 0;

    // The position: how many bytes lie before it.
    virtual long long tell();

    // Reads as read does, and leaves the position where it is.
    virtual long long peek(void* buffer, unsigned long long count);
};

// Bytes that are there as a whole and can be read anywhere: a file.
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

    // Writes at most count bytes and moves on behind them. Returns how many were
    // written, negative for a failure. Fewer than count, which the result's type makes
    // certain for a count beyond it, are no failure: write the rest with the next call.
    virtual int write(void const* buffer, unsigned long long count) = 0;

    // Hands everything written so far to where it goes, past buffers of the stream's
    // own. Returns 0 for success.
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
