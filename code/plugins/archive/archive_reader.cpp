// The reader of files in archives. Open it with a url of the browser and the mode "r" or "rb".
//
// Reading is streamed: one piece is decompressed at a time. A seek only sets the position. A read
// after the current piece fetches the next ones; a read before it starts the file again. All
// reads use the descriptor from open, so a file that replaces the archive later is not seen.
//
// Failures are negative errno values, listed in plugin.xml, which is installed.

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>
#include <limits>
#include <memory>
#include <utility>

#include <kivcore/reader.h>

#include "archive_path.h"
#include "archive_session.h"
#include "parked_sessions.h"
#include "shared/read_stream.h"
#include "shared/stream.h"

namespace archives {

namespace {

constexpr long long k_beyond_any_end = std::numeric_limits<long long>::max();

// The data of one file: the current piece, and how to get to others.
class file_data {
  public:
    // The session must be at the beginning of the file.
    file_data(std::unique_ptr<archive_session> from, archive_path wanted)
        : session(std::move(from)),
          path(std::move(wanted)),
          known_size(session->size().value_or(-1)) {}

    std::unique_ptr<archive_session> end_session() noexcept { return std::move(session); }

    // Copies bytes from the position. Returns their number, 0 at the end, negative on failure.
    long long read_at(long long position, void* buffer, unsigned long long count);

    // The size from the archive, or found once by reading to the end.
    long long size();

  private:
    int start_over();
    int bring(long long position);
    int fetch();

    std::unique_ptr<archive_session> session;
    archive_path path;
    long long known_size;
    // The current piece, from start to end: a hole up to data_start, then the data.
    long long start = 0;
    long long data_start = 0;
    long long end = 0;
    char const* data = nullptr;
    int state = 1;  // result of the last fetch
};

// A failure stays in state, so nothing more is fetched until the next start.
int file_data::start_over() {
    start = data_start = end = 0;
    int const result = session->go_to(path);
    state = result == 0 ? 1 : result;
    return result;
}

// Moves to the next piece. Returns 1, 0 at the end (possibly after a hole), or a negative value
// on failure.
int file_data::fetch() {
    void const* fetched = nullptr;
    unsigned long long count = 0;
    long long offset = end;
    start = data_start = end;  // the old piece is invalid, even if there is no next one
    state = session->next_data(fetched, count, offset);
    if (state < 0) {
        return state;
    }
    if (state == 0) {
        count = 0;
        offset = std::max(offset, end);
    }
    if (offset < end || count > static_cast<unsigned long long>(k_beyond_any_end - offset)) {
        state = -EBADMSG;  // pieces overlap, or exceed the largest offset
        return state;
    }
    data_start = offset;
    end = offset + static_cast<long long>(count);
    data = static_cast<char const*>(fetched);
    return state;
}

// Fetches the piece that contains the position. Returns 1, 0 if the position is at or after the
// end, negative on failure.
int file_data::bring(long long position) {
    if (position < start) {
        int const failed = start_over();
        if (failed != 0) {
            return failed;
        }
    }
    while (position >= end && state == 1) {
        fetch();
    }
    return position < end ? 1 : state;
}

long long file_data::read_at(long long position, void* buffer, unsigned long long count) {
    int const brought = bring(position);
    if (brought != 1) {
        return brought;
    }
    bool const is_hole = position < data_start;
    long long const left = (is_hole ? data_start : end) - position;
    auto const taken =
        static_cast<std::size_t>(std::min(count, static_cast<unsigned long long>(left)));
    if (is_hole) {
        std::memset(buffer, 0, taken);
    } else {
        std::memcpy(buffer, data + (position - data_start), taken);
    }
    return static_cast<long long>(taken);
}

long long file_data::size() {
    if (known_size < 0) {
        int const reached = bring(k_beyond_any_end);
        if (reached < 0) {
            return reached;
        }
        known_size = end;
    }
    return known_size;
}

// Returns -ENOMEM if memory runs out, instead of raising.
template <typename Operation>
auto guarded(Operation operation) -> decltype(operation()) {
    try {
        return operation();
    } catch (std::exception const&) {
        return -ENOMEM;
    }
}

class archive_reader final : public kivcore::reader {
  public:
    archive_reader() = default;
    archive_reader(archive_reader const&) = delete;
    archive_reader& operator=(archive_reader const&) = delete;
    ~archive_reader() override { end_file(); }

    int open(std::string const& text, std::string const& mode) override;
    int close() override;
    long long read(void* buffer, unsigned long long count) override;
    long long seek(long long offset, morbase::whence origin) override;
    long long tell() override { return file ? position : -EBADF; }
    long long size() override;

  private:
    int open_path(std::string const& text);
    void end_file() noexcept;
    long long read_on(char* buffer, unsigned long long count);

    std::shared_ptr<parked_sessions> const parked = parked_sessions::shared();
    std::unique_ptr<file_data> file;
    long long position = 0;
};

int archive_reader::open(std::string const& text, std::string const& mode) {
    int const refused = bundled::refuse_open(file != nullptr, mode);
    return refused != 0 ? refused : guarded([&] { return open_path(text); });
}

int archive_reader::open_path(std::string const& text) {
    archive_path path;
    if (!parse(text, path)) {
        return -EINVAL;
    }
    if (path.inner.empty() || path.inner.back() == '/') {
        return -EISDIR;
    }
    auto session = parked->take(path.archive);
    if (!session) {
        session = std::make_unique<archive_session>();
        int const opened = session->open(path.archive);
        if (opened != 0) {
            return opened;
        }
    }
    int const found = session->go_to(path);
    if (found != 0) {
        parked->put(std::move(session));
        return found;
    }
    file = std::make_unique<file_data>(std::move(session), path);
    position = 0;
    return 0;
}

int archive_reader::close() {
    end_file();
    return 0;
}

// Keeps the session for the next reader of the archive.
void archive_reader::end_file() noexcept {
    if (file) {
        parked->put(file->end_session());
    }
    file.reset();
}

long long archive_reader::read(void* buffer, unsigned long long count) {
    if (!file) {
        return -EBADF;
    }
    return guarded([&] { return read_on(static_cast<char*>(buffer), count); });
}

// If some bytes were read before a failure, the next call reports the failure.
long long archive_reader::read_on(char* buffer, unsigned long long count) {
    unsigned long long done = 0;
    while (done < count) {
        long long const got = file->read_at(position, buffer + done, count - done);
        if (got <= 0) {
            return done > 0 ? static_cast<long long>(done) : got;
        }
        done += static_cast<unsigned long long>(got);
        position += got;
    }
    return static_cast<long long>(done);
}

long long archive_reader::seek(long long offset, morbase::whence origin) {
    if (!file) {
        return -EBADF;
    }
    long long const reached = bundled::seek_target(*this, offset, origin);
    if (reached >= 0) {
        position = reached;
    }
    return reached;
}

long long archive_reader::size() {
    if (!file) {
        return -EBADF;
    }
    return guarded([&] { return file->size(); });
}

}  // namespace

}  // namespace archives

extern "C" EXPORTED kivcore::plugin* archive_create_reader() {
    return new archives::archive_reader;
}
