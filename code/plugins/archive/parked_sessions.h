// Sessions that wait for the next reader of their archive: those of the most recently closed
// files, of any reader. They are not kept by the reader, because a host may open every file of an
// archive with a new one.
//
// The archive of a waiting session is closed. The session only uses memory: for the names so far,
// the kept files and the decompressor. It is released when sessions of other archives take its
// place, or with the shared object and its last reader.
//
// Any thread may use it. A session that was taken belongs to the caller alone.

#ifndef ARCHIVE_PARKED_SESSIONS_H
#define ARCHIVE_PARKED_SESSIONS_H

#include <array>
#include <memory>
#include <mutex>
#include <string>

#include "archive_limits.h"
#include "archive_session.h"

namespace archives {

class parked_sessions {
  public:
    // The only instance in the shared object. Each reader holds a reference, because a reader
    // that is destroyed at the end of the process may outlive static objects.
    static std::shared_ptr<parked_sessions> shared();

    // A session of the archive, awake. Null if there is none or the archive has changed.
    std::unique_ptr<archive_session> take(std::string const& archive);

    // Keeps a session for the next reader, if it is reusable.
    void put(std::unique_ptr<archive_session> session);

  private:
    std::mutex lock;
    // The most recent first, null ones at the end.
    std::array<std::unique_ptr<archive_session>, k_most_parked> waiting;
};

}  // namespace archives

#endif
