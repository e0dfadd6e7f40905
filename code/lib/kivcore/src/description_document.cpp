#include "description_document.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include <morbase/es.h>
#include <morbase/text.h>

#include "description.h"

namespace kivcore {

namespace {

class open_file {
  public:
    // O_NONBLOCK: opening a FIFO must not wait for its writer.
    explicit open_file(std::string const& path) {
        do {
            number = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
        } while (number < 0 && errno == EINTR);
    }
    ~open_file() {
        if (number >= 0) {
            ::close(number);  // opened for reading: a failure loses no data
        }
    }

    open_file(open_file const&) = delete;
    open_file& operator=(open_file const&) = delete;

    // The size of a regular file; -1 for anything else, or if the file could not be opened.
    off_t size() const {
        struct stat status {};
        return fstat(number, &status) == 0 && S_ISREG(status.st_mode) ? status.st_size : -1;
    }

    // Fills the text from the file. Shortens it if the file has fewer bytes. False if reading
    // fails.
    bool read_into(std::string& text) const {
        std::size_t have = 0;
        ssize_t got = 1;
        while (got != 0 && have < text.size()) {
            got = ::read(number, text.data() + have, text.size() - have);
            if (got < 0 && errno != EINTR) {
                return false;
            }
            have += static_cast<std::size_t>(std::max<ssize_t>(got, 0));
        }
        text.resize(have);
        return true;
    }

  private:
    int number = -1;
};

[[noreturn]] void refuse(std::string const& message) {
    morbase::es::call::raise(k_plugins_source, __LINE__, message.c_str());
}

std::string text_of_file(std::string const& path) {
    open_file const file(path);
    off_t const size = file.size();
    if (size > static_cast<off_t>(k_most_bytes)) {
        refuse(morbase::string_with_format(
            "the description \"%s\" is larger than the limit of %zu bytes", path.c_str(),
            k_most_bytes));
    }
    std::string text(static_cast<std::size_t>(std::max<off_t>(size, 0)), '\0');
    if (size < 0 || !file.read_into(text)) {
        refuse(morbase::string_with_format("Could not create xml reader for \"%s\"", path.c_str()));
    }
    return text;
}

}  // namespace

description_document::description_document(std::string const& path, std::string const& schema)
    : reader({path, text_of_file(path)}, schema) {}

void description_document::count_ids(plugins::info const& description) {
    std::string const keys = value_of(description, k_keys);
    auto const separators = static_cast<std::size_t>(std::count(keys.begin(), keys.end(), '|'));
    if (separators == 0) {
        return;  // one id, not longer than the document
    }
    std::size_t const count = separators + 1;
    std::size_t each = 4;  // separators
    for (char const* key : {k_category, k_type, k_developer_id, k_version}) {
        each += value_of(description, key).size();
    }
    ids += count;
    ids_length += keys.size() + count * each;
    if (ids > k_most_ids || ids_length > k_most_bytes_of_ids) {
        refuse(morbase::string_with_format(
            "the description has more than %zu ids, or they take more than %zu bytes", k_most_ids,
            k_most_bytes_of_ids));
    }
}

}  // namespace kivcore
