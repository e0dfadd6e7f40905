// The sessions that wait for the next reader of their archive: those of the files that were
// closed last, whichever reader they were opened through. A host may open every file of an
// archive with a new reader, so that no single one of them could keep the session.
//
// A session that waits has its archive closed. What it holds is memory: the names that it met, the
// files that it kept, and what the decompressor needs. It is released when sessions of other
// archives take its place, or with the shared object and its last reader.
//
// Any thread may use it: a session that was taken is the taker's alone.

#ifndef KIVCORE_ARCHIVE_PARKED_SESSIONS_H
#define KIVCORE_ARCHIVE_PARKED_SESSIONS_H

#include <array>
#include <memory>
#include <mutex>
#include <string>

#include "archive_limits.h"
#include "archive_session.h"

namespace kivcore_archive {

class parked_sessions {
  public:
    // The one of the shared object. Readers hold on to it: one that is destroyed at the end of
    // the process may outlive the statics.
    static std::shared_ptr<parked_sessions> shared();

    // A session of the archive, awake. Null when there is none or the archive has changed.
    std::unique_ptr<archive_session> take(std::string const& archive);

    // Leaves a session for the next reader, if it can be used again.
    void put(std::unique_ptr<archive_session> session);

  private:
    std::mutex lock;
    // The last one first, null ones at the end.
    std::array<std::unique_ptr<archive_session>, k_most_parked> waiting;
};

}  // namespace kivcore_archive

#endif
