#ifndef MORBASE_STREAM_H
#define MORBASE_STREAM_H

#include <morbase/export.h>
#include <morbase/whence.h>

namespace morbase::stream {

class MORBASE_API rd {
  public:
    virtual ~rd();

    virtual long long read(void* buffer, unsigned long long count) = 0;

    virtual long long tell();

    virtual long long peek(void* buffer, unsigned long long count);
};

class MORBASE_API rda : public rd {
  public:
    ~rda() override;

    long long tell() override;
    long long peek(void* buffer, unsigned long long count) override;

    virtual long long seek(long long offset, whence origin) = 0;

    virtual long long size();
};

class MORBASE_API wr {
  public:
    virtual ~wr();

    virtual int write(void const* buffer, unsigned long long count) = 0;

    virtual int flush() = 0;

    virtual long long tell();
};

class MORBASE_API wra : public wr {
  public:
    ~wra() override;

    long long tell() override;

    virtual long long seek(long long offset, whence origin) = 0;

    virtual long long size();
};

}  // namespace morbase::stream

#endif
