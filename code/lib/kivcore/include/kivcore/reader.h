// A plug-in object that reads a file or another source of bytes: a seekable
// stream that can be opened and closed. One thread at a time uses a reader. Its
// operations answer failures with negative numbers, and raise what the plug-in raises.

#ifndef KIVCORE_READER_H
#define KIVCORE_READER_H

#include <string>

#include <kivcore/export.h>
#include <kivcore/plugin.h>
#include <morbase/stream.h>

namespace kivcore {

class KIVCORE_API reader : public plugin, public morbase::stream::rda {
  public:
    ~reader() override;

    // "reader"
    std::string kind() override;

    // Opens path; mode is the plug-in's to interpret, and "r" is what every reader
    // takes. 0 for success, negative for a failure. Close before opening again: what an
    // open reader does is the plug-in's to say.
    virtual int open(std::string const& path, std::string const& mode) = 0;

    // Lets go of what was opened; the reader can be opened again. 0 for success, negative
    // for a failure.
    virtual int close() = 0;
};

}  // namespace kivcore

#endif
