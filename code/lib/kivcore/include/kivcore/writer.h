// A plug-in object that writes a file or another sink of bytes: a seekable
// stream that can be opened and closed. One thread at a time uses a writer. Its
// operations answer failures with negative numbers, and raise what the plug-in raises.

#ifndef KIVCORE_WRITER_H
#define KIVCORE_WRITER_H

#include <string>

#include <kivcore/export.h>
#include <kivcore/plugin.h>
#include <morbase/stream.h>

namespace kivcore {

class KIVCORE_API writer : public plugin, public morbase::stream::wra {
  public:
    ~writer() override;

    // "writer"
    std::string kind() override;

    // Opens path; mode is the plug-in's to interpret, and "w" is what every writer
    // takes. 0 for success, negative for a failure. Close before opening again: what an
    // open writer does is the plug-in's to say.
    virtual int open(std::string const& path, std::string const& mode) = 0;

    // 0 for success, negative for a failure; what was written is safe only then. A writer
    // that goes without it has nobody to tell of a failure.
    virtual int close() = 0;
};

}  // namespace kivcore

#endif
