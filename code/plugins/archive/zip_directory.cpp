#include "zip_directory.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "shared/descriptor.h"

namespace archives {

namespace {

// Sizes of the fixed parts of the records.
constexpr std::size_t k_entry_size = 46;
constexpr std::size_t k_end_size = 22;
constexpr std::size_t k_locator_size = 20;
constexpr std::size_t k_end64_size = 56;

// How far from the end libarchive looks for the end record.
constexpr long long k_most_tail = 16384;

// A larger directory is not read: all of it must be in memory.
constexpr long long k_most_directory = 256LL * 1024 * 1024;

constexpr std::uint64_t k_in_extra = 0xffffffff;  // the field is in the zip64 extra instead

struct location {
    std::uint64_t offset;  // of the directory, as stored in the archive
    std::uint64_t size;
    long long end;  // where it ends in the file
};

std::uint64_t number_at(std::string const& bytes, std::size_t at, std::size_t size) {
    std::uint64_t number = 0;
    for (std::size_t i = size; i > 0; --i) {
        number = number << 8U | static_cast<unsigned char>(bytes[at + i - 1]);
    }
    return number;
}

std::size_t length_at(std::string const& bytes, std::size_t at) {
    return static_cast<std::size_t>(number_at(bytes, at, 2));
}

void append_number(std::string& bytes, std::uint64_t number, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i) {
        bytes += static_cast<char>(number >> (8 * i) & 0xffU);
    }
}

// Empty if not all of it can be read.
std::string bytes_at(int descriptor, long long offset, long long size) {
    std::string bytes(static_cast<std::size_t>(size), '\0');
    std::size_t done = 0;
    while (done < bytes.size()) {
        ssize_t const got = bundled::read_at(descriptor, bytes.data() + done, bytes.size() - done,
                                             offset + static_cast<long long>(done));
        if (got <= 0) {
            return "";
        }
        done += static_cast<std::size_t>(got);
    }
    return bytes;
}

// Reads the zip64 end record, to which the locator before the end record points.
bool find_large(int descriptor, std::string const& locator, location& result) {
    auto const at = static_cast<long long>(number_at(locator, 8, 8));
    std::string const end = at >= 0 ? bytes_at(descriptor, at, k_end64_size) : "";
    if (end.compare(0, 4, "PK\x06\x06") != 0) {
        return false;
    }
    result = {number_at(end, 48, 8), number_at(end, 40, 8), at};
    return true;
}

bool find_directory(int descriptor, long long file_size, location& result) {
    long long const tail_size = std::min(file_size, k_most_tail);
    std::string const tail = bytes_at(descriptor, file_size - tail_size, tail_size);
    if (tail.size() < k_end_size) {
        return false;
    }
    std::size_t const end = tail.rfind("PK\x05\x06", tail.size() - k_end_size);
    if (end == std::string::npos) {
        return false;
    }
    if (end >= k_locator_size && tail.compare(end - k_locator_size, 4, "PK\x06\x07") == 0) {
        return find_large(descriptor, tail.substr(end - k_locator_size, k_locator_size), result);
    }
    result = {number_at(tail, end + 16, 4), number_at(tail, end + 12, 4),
              file_size - tail_size + static_cast<long long>(end)};
    return true;
}

// Where the entry's data is. The caller has checked the size of the record. The zip64 extra
// contains, in this order, those of three fields that do not fit in the record.
std::uint64_t data_offset(std::string const& bytes, std::size_t record, std::size_t extra,
                          std::size_t extra_end) {
    std::uint64_t const offset = number_at(bytes, record + 42, 4);
    if (offset != k_in_extra) {
        return offset;
    }
    while (extra_end - extra >= 4) {
        std::size_t const size = length_at(bytes, extra + 2);
        std::size_t value = extra + 4;
        value += number_at(bytes, record + 24, 4) == k_in_extra ? 8 : 0;
        value += number_at(bytes, record + 20, 4) == k_in_extra ? 8 : 0;
        if (number_at(bytes, extra, 2) == 1 && value + 8 <= std::min(extra + 4 + size, extra_end)) {
            return number_at(bytes, value, 8);
        }
        extra = std::min(extra + 4 + size, extra_end);
    }
    return offset;
}

}  // namespace

bool zip_directory::read(int descriptor, long long file_size) {
    location where = {};
    if (!find_directory(descriptor, file_size, where)) {
        return false;
    }
    if (where.size > static_cast<std::uint64_t>(std::min(k_most_directory, where.end))) {
        return false;
    }
    auto const size = static_cast<long long>(where.size);
    directory = where.end - size;
    // There may be other data before the archive, which its offsets do not include.
    auto const shift = directory - static_cast<long long>(where.offset);
    if (where.offset > static_cast<std::uint64_t>(directory) ||
        !add_records(bytes_at(descriptor, directory, size), shift)) {
        records.clear();
        return false;
    }
    // The same as in libarchive: sorted, and only one record for each position.
    std::stable_sort(records.begin(), records.end(),
                     [](record const& a, record const& b) { return a.data < b.data; });
    auto const same = [](record const& a, record const& b) { return a.data == b.data; };
    records.erase(std::unique(records.begin(), records.end(), same), records.end());
    return true;
}

// False if the bytes are not entirely records of entries.
bool zip_directory::add_records(std::string const& bytes, long long shift) {
    std::size_t at = 0;
    while (bytes.size() - at >= k_entry_size && bytes.compare(at, 4, "PK\x01\x02") == 0) {
        std::size_t const extra = at + k_entry_size + length_at(bytes, at + 28);
        std::size_t const extra_end = extra + length_at(bytes, at + 30);
        std::size_t const end = extra_end + length_at(bytes, at + 32);
        if (end > bytes.size()) {
            return false;
        }
        auto const data = data_offset(bytes, at, extra, extra_end);
        if (data > static_cast<std::uint64_t>(directory - shift)) {
            return false;
        }
        records.push_back({shift + static_cast<long long>(data),
                           directory + static_cast<long long>(at), end - at});
        at = end;
    }
    return at == bytes.size();
}

// The part of the file from the entry's data up to the directory, followed by the entry's record,
// with only the position of its data changed, and end records in the zip64 form, which fits any
// size.
std::optional<file_part> zip_directory::single(int descriptor, std::size_t number) const {
    if (number >= records.size()) {
        return std::nullopt;
    }
    record const& wanted = records[number];
    std::string tail = bytes_at(descriptor, wanted.offset, static_cast<long long>(wanted.size));
    if (tail.empty()) {
        return std::nullopt;
    }
    tail.replace(42, 4, 4, '\0');
    auto const place = static_cast<std::uint64_t>(directory - wanted.data);
    tail += "PK\x06\x06";
    append_number(tail, k_end64_size - 12, 8);
    tail.append(12, '\0');      // versions, and numbers of disks
    append_number(tail, 1, 8);  // entries, here and in all
    append_number(tail, 1, 8);
    append_number(tail, wanted.size, 8);
    append_number(tail, place, 8);
    tail += "PK\x06\x07";
    append_number(tail, 0, 4);
    append_number(tail, place + wanted.size, 8);
    append_number(tail, 1, 4);
    tail += "PK\x05\x06";
    tail.append(k_end_size - 4, '\0');
    return file_part{wanted.data, directory, std::move(tail)};
}

}  // namespace archives
