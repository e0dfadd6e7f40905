#include "library_search.h"

#include <dlfcn.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>

#include <morbase/path.h>

#include "image.h"
#include "linker_cache.h"
#include "linker_tokens.h"

namespace kivplug {

namespace {

// Against an object that was made to have very long run paths.
constexpr std::size_t k_most_directories = 100;

// What is the same for every search of this process.
struct system_search {
    std::vector<std::string> from_environment;  // LD_LIBRARY_PATH
    std::vector<std::string> standard;          // may begin with those
    std::multimap<std::string, std::string> cached;
};

struct close_handle {
    void operator()(void* opened) const { dlclose(opened); }
};

// Empty parts of a path stand for the current directory.
std::vector<std::string> parts_of(std::string const& path, char const* separators) {
    std::vector<std::string> parts;
    for (std::size_t start = 0; !path.empty() && start <= path.size();) {
        auto const end = std::min(path.find_first_of(separators, start), path.size());
        parts.push_back(end > start ? path.substr(start, end - start) : ".");
        start = end + 1;
    }
    return parts;
}

// Where the dynamic linker looks for what the C library needs, which has no run path: the
// directories of the environment, and its own.
std::vector<std::string> default_directories() {
    std::unique_ptr<void, close_handle> const library(dlopen("libc.so.6", RTLD_LAZY | RTLD_NOLOAD));
    Dl_serinfo size{};
    if (!library || dlinfo(library.get(), RTLD_DI_SERINFOSIZE, &size) != 0) {
        return {};
    }
    // A record with an array after it, and the texts of that.
    std::vector<Dl_serinfo> room(size.dls_size / sizeof(Dl_serinfo) + 1, size);
    std::vector<std::string> directories;
    if (dlinfo(library.get(), RTLD_DI_SERINFO, room.data()) == 0) {
        // NOLINTNEXTLINE(cppcoreguidelines-pro-type-union-access): a union by glibc
        Dl_serpath const* const first = room.front().dls_serpath;
        std::transform(first, first + size.dls_cnt, std::back_inserter(directories),
                       [](Dl_serpath const& each) { return each.dls_name; });
    }
    return directories;
}

system_search const& search_of_system() {
    static system_search const search = [] {
        system_search made;
        char const* const path = std::getenv("LD_LIBRARY_PATH");
        made.from_environment = parts_of(path != nullptr ? path : "", ":;");
        made.standard = default_directories();
        std::ifstream file("/etc/ld.so.cache", std::ios::binary);
        made.cached = libraries_in_cache({std::istreambuf_iterator<char>(file), {}});
        return made;
    }();
    return search;
}

// What $LIB stands for: x86-64 of Debian has /lib/x86_64-linux-gnu in front of /lib.
std::string library_directory() {
    auto const& standard = search_of_system().standard;
    auto const found = std::find_if(standard.begin(), standard.end(), [](auto const& each) {
        return each.compare(0, 4, "/lib") == 0;
    });
    return found != standard.end() ? found->substr(1) : "lib";
}

std::string origin_of(elf_object const& object) {
    std::error_code unknown;
    return std::filesystem::absolute(object.path(), unknown).parent_path().string();
}

std::string replaced(std::string const& text, elf_object const& object) {
    return with_tokens_replaced(text, origin_of(object), library_directory());
}

void add_run_path(std::string const& path, elf_object const& object,
                  std::vector<std::string>& directories) {
    for (auto const& part : parts_of(path, ":")) {
        if (directories.size() < k_most_directories) {
            directories.push_back(replaced(part, object));
        }
    }
}

// The directories that are not the system's own.
std::vector<std::string> directories_for(std::vector<elf_object const*> const& loaders) {
    std::vector<std::string> directories;
    auto const& object = *loaders.front();
    bool const has_runpath = object.has_entry(DT_RUNPATH);
    for (auto const* const each : loaders) {
        if (!has_runpath && !each->has_entry(DT_RUNPATH)) {
            add_run_path(each->rpath(), *each, directories);
        }
    }
    auto const& environment = search_of_system().from_environment;
    directories.insert(directories.end(), environment.begin(), environment.end());
    add_run_path(object.runpath(), object, directories);
    return directories;
}

// The directories below another one that the dynamic linker searches first, because this processor
// can do more than the oldest one.
std::vector<std::string> const& processor_directories() {
    static std::vector<std::string> const directories = [] {
        std::vector<std::string> found;
#ifdef __x86_64__
        __builtin_cpu_init();
        if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512vl")) {
            found.emplace_back("glibc-hwcaps/x86-64-v4/");
        }
        if (__builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi2")) {
            found.emplace_back("glibc-hwcaps/x86-64-v3/");
        }
        if (__builtin_cpu_supports("sse4.2")) {
            found.emplace_back("glibc-hwcaps/x86-64-v2/");
        }
#endif
        found.emplace_back();
        return found;
    }();
    return directories;
}

// Takes the file if the dynamic linker would; notes why not if it is the first one of the name.
bool take(std::string const& path, searched_library& search) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        return false;
    }
    constexpr unsigned int k_for_anybody = 0444;
    auto const fault = (status.st_mode & k_for_anybody) == 0 ? "may not be read by anybody"
                                                             : fault_of_image(path).problem;
    if (fault.empty()) {
        search.path = path;
        return true;
    }
    if (search.unusable.empty()) {
        search.unusable = "\"" + path + "\" " + fault;
    }
    return false;
}

bool take_from(std::vector<std::string> const& directories, std::string const& name,
               searched_library& search) {
    return std::any_of(directories.begin(), directories.end(), [&](auto const& each) {
        auto const& below = processor_directories();
        return std::any_of(below.begin(), below.end(), [&](auto const& directory) {
            return take(morbase::path_appended(each, directory + name, '/'), search);
        });
    });
}

}  // namespace

searched_library find_library(std::string const& name,
                              std::vector<elf_object const*> const& loaders) {
    searched_library search;
    auto const& object = *loaders.front();
    if (name.find('/') != std::string::npos) {
        take(replaced(name, object), search);
        return search;
    }
    search.tried = directories_for(loaders);
    if (take_from(search.tried, name, search) || object.has_flag_1(DF_1_NODEFLIB)) {
        return search;
    }
    auto const& system = search_of_system();
    auto const [first, last] = system.cached.equal_range(name);
    bool const is_cached =
        std::any_of(first, last, [&](auto const& each) { return take(each.second, search); });
    if (!is_cached) {
        take_from(system.standard, name, search);
    }
    return search;
}

}  // namespace kivplug
