// Abstract byte streams: rd reads and wr writes in order, rda and wra can also
// seek. Positions, offsets and sizes are in bytes. Every result is negative for
// a failure. A stream is used by one thread at a time.
//
// tell, peek and size have versions here that work through seek and restore the
// position; a stream that cannot seek answers -1. A stream that knows better
// overrides them.

#ifndef MORBASE_STREAM_H
#define MORBASE_STREAM_H

#include <morbase/export.h>
#include <morbase/whence.h>

namespace morbase::stream {

class MORBASE_API rd {
  public:
    virtual ~rd();

    // Reads at most count bytes into buffer and moves on behind them. Returns
    // how many were read, 0 at the end, negative for a failure.
    virtual long long read(void* buffer, unsigned long long count) = 0;

    // The position.
    virtual long long tell();

    // Reads as read does, and leaves the position where it is.
    virtual long long peek(void* buffer, unsigned long long count);
};

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

class MORBASE_API wr {
  public:
    virtual ~wr();

    // Writes at most count bytes and moves on behind them. Returns how many were
    // written, negative for a failure.
    virtual int write(void const* buffer, unsigned long long count) = 0;

    // Hands everything written so far to where it goes. Returns 0 for success.
    virtual int flush() = 0;

    // The position.
    virtual long long tell();
};

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
