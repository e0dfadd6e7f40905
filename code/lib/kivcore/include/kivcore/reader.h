// A plug-in object that reads a file or another source of bytes: a seekable stream that can be
// opened and closed. Use a reader from one thread at a time. Its operations return negative
// numbers on failure. Exceptions of the plug-in pass through.

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

    // Returns "reader".
    std::string kind() override;

    // Opens path. The plug-in interprets mode; every reader accepts "r". Returns 0 on success,
    // negative on failure. Close a reader before you open it again: what open does on an open
    // reader is up to the plug-in.
    virtual int open(std::string const& path, std::string const& mode) = 0;

    // Closes what was opened; the reader can be opened again. Returns 0 on success, negative on
    // failure.
    virtual int close() = 0;
};

}  // namespace kivcore

#endif
