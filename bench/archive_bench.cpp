// The cost of reading every file of an archive through the plug-in, each opened by its path,
// compared with one walk over the archive with libarchive itself, which reads the same data.

#include <algorithm>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include <archive.h>
#include <archive_entry.h>
#include <benchmark/benchmark.h>

#include <kivcore/kivcore.h>

#include "collection.h"
#include "paired.h"

namespace {

constexpr std::size_t k_files = 4000;
constexpr std::size_t k_file_size = 2048;

struct free_archive {
    void operator()(archive* handle) const { archive_free(handle); }
    void operator()(archive_entry* entry) const { archive_entry_free(entry); }
};
using archive_handle = std::unique_ptr<archive, free_archive>;
using entry_handle = std::unique_ptr<archive_entry, free_archive>;

struct kind {
    char const* name;
    int (*format)(archive*);
    int (*filter)(archive*);
};

constexpr kind k_kinds[] = {
    {"tar", archive_write_set_format_ustar, archive_write_add_filter_none},
    {"tgz", archive_write_set_format_ustar, archive_write_add_filter_gzip},
    {"zip", archive_write_set_format_zip, archive_write_add_filter_none},
    {"7z", archive_write_set_format_7zip, archive_write_add_filter_none},
};

void check(bool is_good, char const* what) {
    if (!is_good) {
        throw std::runtime_error(what);
    }
}

// Compresses to half its size, like text.
std::string content(std::mt19937& random) {
    std::string text(k_file_size, '\0');
    std::generate(text.begin(), text.end(), [&] { return static_cast<char>('a' + random() % 16); });
    return text;
}

void write_archive(std::string const& path, kind const& how) {
    std::mt19937 random(1);
    archive_handle const out(archive_write_new());
    how.format(out.get());
    how.filter(out.get());
    check(archive_write_open_filename(out.get(), path.c_str()) == ARCHIVE_OK, "cannot write");
    for (std::size_t i = 0; i < k_files; ++i) {
        std::string const name = "files/f" + std::to_string(10000 + i);
        std::string const data = content(random);
        entry_handle const entry(archive_entry_new());
        archive_entry_copy_pathname(entry.get(), name.c_str());
        archive_entry_set_filetype(entry.get(), AE_IFREG);
        archive_entry_set_perm(entry.get(), 0644);
        archive_entry_set_size(entry.get(), static_cast<la_int64_t>(data.size()));
        check(archive_write_header(out.get(), entry.get()) == ARCHIVE_OK, "cannot write a header");
        archive_write_data(out.get(), data.data(), data.size());
    }
    check(archive_write_close(out.get()) == ARCHIVE_OK, "cannot end the archive");
}

std::size_t walk(std::string const& path) {
    archive_handle const in(archive_read_new());
    archive_read_support_filter_all(in.get());
    archive_read_support_format_all(in.get());
    check(archive_read_open_filename(in.get(), path.c_str(), 65536) == ARCHIVE_OK, "cannot walk");
    std::size_t bytes = 0;
    archive_entry* entry = nullptr;
    while (archive_read_next_header(in.get(), &entry) == ARCHIVE_OK) {
        void const* data = nullptr;
        std::size_t size = 0;
        la_int64_t offset = 0;
        while (archive_read_data_block(in.get(), &data, &size, &offset) == ARCHIVE_OK) {
            bytes += size;
        }
    }
    return bytes;
}

morbase::ptr_refcount<kivcore::plugins> load() {
    morbase::ptr_refcount<kivcore::plugins> registry(new kivcore::plugins("/"));
    check(registry->load_plugin(ARCHIVE_PLUGIN_DIR), "there is no plug-in in " ARCHIVE_PLUGIN_DIR);
    return registry;
}

// Uses a new reader for each file, like a host that does not keep one. The registry is new as well:
// the shared object of the last one was closed, with everything that it kept of the archive.
std::size_t read_each(std::vector<std::string> const& urls) {
    auto const registry = load();
    std::size_t bytes = 0;
    char block[2 * k_file_size];
    for (std::string const& url : urls) {
        auto const file = kivcore::create<kivcore::reader>(registry, "io/read/archive/kivcore/1.0");
        check(file && file->open(url, "r") == 0, "cannot open a file of the archive");
        long long got = 0;
        while ((got = file->read(block, sizeof block)) > 0) {
            bytes += static_cast<std::size_t>(got);
        }
        file->close();
    }
    return bytes;
}

std::vector<std::string> list(std::string const& path) {
    auto const browser = kivcore::create<kivcore::browser>(load(), "io/browse/archive/kivcore/1.0");
    std::vector<std::string> urls;
    for (auto const& [name, url] : browser->list_files("archive:" + path + "!/files/")) {
        urls.push_back(url);
    }
    return urls;
}

void read_files(benchmark::State& state, kind const& how, bool is_shuffled) {
    bench::scratch_directory const scratch;
    std::string const path = scratch.path() + "/archive";
    write_archive(path, how);
    std::vector<std::string> urls = list(path);
    if (is_shuffled) {
        std::shuffle(urls.begin(), urls.end(), std::mt19937(2));
    }
    check(read_each(urls) == walk(path), "the files are not the archive's");
    bench::run_pair(
        state, k_files, [&] { benchmark::DoNotOptimize(read_each(urls)); },
        [&] { benchmark::DoNotOptimize(walk(path)); });
}

}  // namespace

int main(int argc, char** argv) {
    for (kind const& each : k_kinds) {
        for (bool const is_shuffled : {false, true}) {
            std::string const name = std::string("archive/") + each.name +
                                     (is_shuffled ? "/any_order" : "/listed_order");
            benchmark::RegisterBenchmark(name.c_str(), read_files, each, is_shuffled)
                ->Iterations(10)
                ->UseManualTime();
        }
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
