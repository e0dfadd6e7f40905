#include "linker_cache.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace kivplug {

namespace {

// glibc has no header with these. An older format, which may be in front, is not read.
constexpr char const* k_magic = "glibc-ld.so.cache1.1";

struct cache_header {
    // cppcheck-suppress unusedStructMember
    char magic[20];
    std::uint32_t count;
    std::uint32_t other[6];
};

struct cache_entry {
    std::int32_t flags;
    std::uint32_t name;  // these two count from the header's start
    std::uint32_t path;
    std::uint32_t system;
    std::uint64_t processor;
};

std::string text_at(std::string const& cache, std::size_t offset) {
    auto const end = cache.find('\0', offset);
    return end != std::string::npos ? cache.substr(offset, end - offset) : "";
}

}  // namespace

std::multimap<std::string, std::string> libraries_in_cache(std::string const& text) {
    std::multimap<std::string, std::string> found;
    auto const start = text.find(k_magic);
    auto const cache = start != std::string::npos ? text.substr(start) : "";
    cache_header header{};
    if (cache.size() < sizeof header) {
        return found;
    }
    std::memcpy(&header, cache.data(), sizeof header);
    auto const room = (cache.size() - sizeof header) / sizeof(cache_entry);
    for (std::size_t i = 0; i < std::min<std::size_t>(header.count, room); ++i) {
        cache_entry entry{};
        std::memcpy(&entry, &cache[sizeof header + i * sizeof entry], sizeof entry);
        found.emplace(text_at(cache, entry.name), text_at(cache, entry.path));
    }
    return found;
}

}  // namespace kivplug
