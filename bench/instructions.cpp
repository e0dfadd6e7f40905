// Fixed pieces of work whose instructions callgrind counts. It only counts inside measured().
// Unlike times, counts do not vary.
//
// usage: instructions            prints the names of the pieces
//        instructions PIECE      runs it, and prints its number of operations

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#include <kivcore/kivcore.h>

#include "collection.h"
#include "ids.h"
#include "loading.h"

// Must not be inlined. scripts/instructions relies on its name.
extern "C" __attribute__((noinline)) void measured(std::function<void()> const& work) {
    work();
}

namespace {

constexpr std::size_t k_ids = 1000;
constexpr std::size_t k_directories = 100;

// Runs the work once before counting, because first calls bind symbols and grow the heap.
std::size_t count(std::size_t operations, std::function<void()> const& work) {
    work();
    measured(work);
    return operations;
}

std::size_t create() {
    auto const ids = bench::make_ids(k_ids);
    auto const registry = bench::make_registry(ids);
    return count(k_ids, [&] {
        for (std::string const& id : ids) {
            registry->create_with_id(id);
        }
    });
}

std::size_t describe() {
    auto const ids = bench::make_ids(k_ids);
    auto const registry = bench::make_registry(ids);
    return count(k_ids, [&] {
        for (std::string const& id : ids) {
            registry->describe_plugin(id);
        }
    });
}

std::size_t find(char const* pattern) {
    auto const registry = bench::make_registry(bench::make_ids(k_ids));
    return count(1, [&] { registry->find_plugins(pattern); });
}

// Loads them in the order of their numbers, because the order of a file system varies.
std::size_t load() {
    bench::scratch_directory const scratch;
    bench::write_collection(scratch.path(), k_directories, bench::mixture::k_plain);
    std::vector<morbase::ptr_refcount<kivcore::plugins>> filled;  // destroyed after counting
    return count(k_directories, [&] {
        auto const& registry = filled.emplace_back(new kivcore::plugins("/"));
        for (std::size_t i = 0; i < k_directories; ++i) {
            registry->load_plugin(scratch.path() + "/plugin" + std::to_string(i));
        }
    });
}

std::size_t walk() {
    bench::scratch_directory const scratch;
    bench::write_collection(scratch.path(), k_directories, bench::mixture::k_plain);
    return count(k_directories, [&] { bench::load_by("walk", scratch.path()); });
}

std::size_t read() {
    morbase::ptr_refcount<kivcore::plugins> const registry(new kivcore::plugins("/"));
    registry->load_plugin(BENCH_PLUGIN_DIR);
    auto const file = kivcore::create<kivcore::reader>(registry, "io/read/c/bench/1.0");
    if (!file || file->open("", "r") != 0) {
        throw std::runtime_error("cannot open the reader of " BENCH_PLUGIN_DIR);
    }
    char byte = 0;
    return count(k_ids, [&] {
        for (std::size_t i = 0; i < k_ids; ++i) {
            file->read(&byte, 0);
        }
    });
}

struct piece {
    char const* name;
    std::size_t (*run)();
};

constexpr piece k_pieces[] = {
    {"create", create},
    {"describe", describe},
    {"find_all", [] { return find(".*"); }},
    {"find_range", [] { return find("io/read/wav/.*"); }},
    {"load_directory", load},
    {"walk_directory", walk},
    {"read", read},
};

int run(std::string const& name) {
    for (piece const& each : k_pieces) {
        if (name == each.name) {
            std::printf("%zu\n", each.run());
            return EXIT_SUCCESS;
        }
    }
    throw std::runtime_error("there is no piece of work called " + name);
}

}  // namespace

int main(int argc, char** argv) {
    try {
        if (argc == 2) {
            return run(argv[1]);
        }
        for (piece const& each : k_pieces) {
            std::puts(each.name);
        }
        return EXIT_SUCCESS;
    } catch (std::exception const& error) {
        std::fprintf(stderr, "instructions: %s\n", error.what());
        return EXIT_FAILURE;
    }
}
