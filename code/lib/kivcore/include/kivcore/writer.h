// A plug-in object that writes a file or another sink of bytes: a seekable stream that can be
// opened and closed. Use a writer from one thread at a time. Its operations return negative
// numbers on failure. Exceptions of the plug-in pass through.

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

    // Returns "writer".
    std::string kind() override;

    // Opens path. The plug-in interprets mode; every writer accepts "w". Returns 0 on success,
    // negative on failure. Close a writer before you open it again: what open does on an open
    // writer is up to the plug-in.
    virtual int open(std::string const& path, std::string const& mode) = 0;

    // Returns 0 on success, negative on failure. The data is safe only after close has succeeded.
    // A writer that is destroyed without close cannot report a failure.
    virtual int close() = 0;
};

}  // namespace kivcore

#endif
