#include "archive_session.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>

#include <archive.h>
#include <archive_entry.h>

#include "archive_limits.h"

namespace archives {

namespace {

// 0 if the data of the entry can be read.
int refuse_entry(archive_entry* entry) {
    bool const is_link = archive_entry_hardlink(entry) != nullptr && archive_entry_size(entry) == 0;
    if (is_link || archive_entry_filetype(entry) == AE_IFLNK) {
        return -ELOOP;
    }
    if (archive_entry_filetype(entry) != AE_IFREG) {
        return -EOPNOTSUPP;
    }
    return archive_entry_is_encrypted(entry) != 0 ? -EACCES : 0;
}

std::optional<long long> size_of(archive_entry* entry) {
    if (archive_entry_size_is_set(entry) == 0) {
        return std::nullopt;
    }
    return archive_entry_size(entry);
}

}  // namespace

int archive_session::open(std::string const& archive) {
    path = archive;
    return open_file(archive, file);
}

int archive_session::go_to(archive_path const& wanted) {
    is_sound = false;  // stays false if memory runs out
    kept_file = nullptr;
    side.reset();
    auto const known = places.find({wanted.inner, wanted.ordinal});
    bool const is_known = known != places.end();
    // After a step back, main may be before a known entry.
    bool const is_ahead = !is_known || (known->second.number > number && !can_jump());
    int const result = is_ahead ? search(wanted) : go_back(known->second, wanted);
    is_sound = result != -ENOMEM && result != -EIO;
    return result;
}

// Advances main to the wanted entry.
int archive_session::search(archive_path const& wanted) {
    if (!is_started) {
        begin();
    }
    int result = step();
    while (result == 1) {
        if (main.path() == wanted.inner) {
            auto const here = places.find({wanted.inner, wanted.ordinal});
            if (here != places.end() && here->second.number == number) {
                is_touched = true;
                // In a 7z archive, reading an entry's data decompresses the data before it.
                bool const is_far = main.is_format(ARCHIVE_FORMAT_7ZIP) &&
                                    passed > most_skipped(file.status.st_size);
                return is_far ? -EFBIG : refuse_entry(main.entry());
            }
        }
        result = step();
    }
    return result < 0 ? result : -ENOENT;
}

int archive_session::go_back(place to, archive_path const& wanted) {
    auto const copy = kept.find(to.number);
    if (copy != kept.end()) {
        kept_file = &copy->second;
        is_kept_read = false;
        return 0;
    }
    if (can_jump() && jump(to, wanted)) {
        return refuse_entry(side->entry());
    }
    is_keeping = !can_jump();
    is_started = false;
    return search(wanted);
}

// Moves main before the first entry.
void archive_session::begin() {
    is_started = true;
    number = 0;
    passed = 0;
    int const result = main.start(file.descriptor.get(), whole_file());
    state = result == 0 ? 1 : result;
}

// Advances main to the next entry and keeps the file that it passes. Returns what
// archive_walk::next returns.
int archive_session::step() {
    if (number > 0 && is_keeping && state == 1 && !keep_entry()) {
        is_keeping = false;  // reading the data failed; skipping it may still work
        begin();
    }
    if (state != 1) {
        return state;
    }
    passed += number > 0 ? size_of(main.entry()).value_or(0) : 0;
    is_touched = false;
    state = main.next();
    number += state == 1 ? 1 : 0;
    if (number > places.size()) {
        state = note_entry();
    }
    return state;
}

// Returns 1, or a negative value if there are too many entries.
int archive_session::note_entry() {
    std::string name = main.path();
    path_bytes += name.size();
    if (places.size() >= k_most_entries || path_bytes > most_path_bytes(places.size())) {
        return -EFBIG;
    }
    constexpr unsigned int k_last = std::numeric_limits<unsigned int>::max();
    auto const after = places.upper_bound({name, k_last});
    unsigned int ordinal = 1;
    if (after != places.begin() && std::prev(after)->first.first == name) {
        ordinal += std::prev(after)->first.second;
    }
    place const here = {number, can_jump() ? main.header_position() : 0};
    places.emplace_hint(after, std::make_pair(std::move(name), ordinal), here);
    return 1;
}

bool archive_session::can_jump() const {
    return !main.is_compressed() && !main.is_format(ARCHIVE_FORMAT_7ZIP);
}

// The part of the file whose first entry is this one.
std::optional<file_part> archive_session::part_from(place to) {
    if (main.is_format(ARCHIVE_FORMAT_TAR)) {
        return file_part{to.header, file.status.st_size, ""};
    }
    if (!directory) {
        directory.emplace();
        directory->read(file.descriptor.get(), file.status.st_size);
    }
    return directory->single(file.descriptor.get(), to.number - 1);
}

// Moves side to the entry. If another entry is there, sets side to null and returns false.
bool archive_session::jump(place to, archive_path const& wanted) {
    auto const part = part_from(to);
    if (!part) {
        return false;
    }
    side = std::make_unique<archive_walk>();
    if (side->start(file.descriptor.get(), *part) == 0 && side->next() == 1 &&
        side->path() == wanted.inner) {
        return true;
    }
    side.reset();
    return false;
}

// Keeps main's current file if there is room for it. False if it cannot be read.
bool archive_session::keep_entry() {
    auto const expected = size_of(main.entry());
    auto const room = static_cast<long long>(k_most_kept_bytes - kept_bytes);
    if (is_touched || refuse_entry(main.entry()) != 0 || !expected || *expected > room ||
        kept.count(number) != 0) {
        return true;
    }
    std::string content(static_cast<std::size_t>(*expected), '\0');
    if (!take_data(content)) {
        return false;
    }
    kept_bytes += content.size();
    kept[number] = std::move(content);
    return true;
}

// Reads the data of main's entry into content, which already has the entry's size and is filled
// with zeros.
bool archive_session::take_data(std::string& content) {
    void const* data = nullptr;
    unsigned long long size = 0;
    long long offset = 0;
    int result = 0;
    while ((result = main.next_data(data, size, offset)) == 1) {
        if (offset < 0 || static_cast<unsigned long long>(offset) > content.size() ||
            size > content.size() - static_cast<unsigned long long>(offset)) {
            return false;
        }
        std::memcpy(content.data() + offset, data, static_cast<std::size_t>(size));
    }
    return result == 0;
}

std::optional<long long> archive_session::size() const {
    if (kept_file != nullptr) {
        return static_cast<long long>(kept_file->size());
    }
    return size_of((side ? *side : main).entry());
}

int archive_session::next_data(void const*& data, unsigned long long& size, long long& offset) {
    if (kept_file == nullptr) {
        int const result = (side ? *side : main).next_data(data, size, offset);
        is_sound = is_sound && result >= 0;
        return result;
    }
    data = kept_file->data();
    size = is_kept_read ? 0 : kept_file->size();
    offset = is_kept_read ? static_cast<long long>(kept_file->size()) : 0;
    return std::exchange(is_kept_read, true) ? 0 : 1;
}

void archive_session::sleep() {
    side.reset();
    kept_file = nullptr;
    file.descriptor = bundled::descriptor();
}

bool archive_session::wake() {
    archive_file again;
    if (open_file(path, again) != 0 || !is_unchanged(file, again.status)) {
        return false;
    }
    file.descriptor = std::move(again.descriptor);
    main.attach(file.descriptor.get());
    return true;
}

}  // namespace archives
