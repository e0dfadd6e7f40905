// The costs of a plug-in once it is found: the first creation, reading through the
// adapter of a C-style reader, the memory that a registered plug-in uses.

#include <dlfcn.h>
#include <malloc.h>

#include <memory>
#include <stdexcept>
#include <string>

#include <benchmark/benchmark.h>

#include <kivcore/kivcore.h>

#include "collection.h"
#include "paired.h"

namespace {

constexpr char const* k_image = BENCH_PLUGIN_DIR "/darwin/x86/plugin.so";

struct close_image {
    void operator()(void* image) const noexcept { dlclose(image); }
};
using image_handle = std::unique_ptr<void, close_image>;

morbase::ptr_refcount<kivcore::plugins> load_bench_plugin() {
    morbase::ptr_refcount<kivcore::plugins> registry(new kivcore::plugins("/"));
    if (!registry->load_plugin(BENCH_PLUGIN_DIR)) {
        throw std::runtime_error("cannot load " BENCH_PLUGIN_DIR);
    }
    return registry;
}

// Open the shared object, bind, create, release, close.
void first_create(benchmark::State& state) {
    auto const description = load_bench_plugin()->describe_plugin("io/read/native/bench/1.0");
    bench::run_pair(
        state, 1,
        [&] {
            morbase::ptr_refcount<kivcore::loader> image(new kivcore::loader(k_image));
            auto const maker = kivcore::create_factory(image, description);
            image = nullptr;
            benchmark::DoNotOptimize(maker->create().get());
        },
        [&] {
            image_handle const image(dlopen(k_image, RTLD_LAZY | RTLD_LOCAL));
            auto* const create =
                reinterpret_cast<kivcore::plugin* (*)()>(dlsym(image.get(), "bench_create"));
            std::unique_ptr<kivcore::plugin> const made(create());
            benchmark::DoNotOptimize(made.get());
        });
}
BENCHMARK(first_create)->Iterations(2000)->UseManualTime();

constexpr int k_batch = 2000;

// The target of reads. It is aligned, because the cost of a copy depends on its place in a page.
struct alignas(4096) page {
    char bytes[4096];
};

// A call through `stream`, which is the reader or one of its two bases, compared with a direct
// call of the C function that it leads to.
template <typename stream>
void read_through(benchmark::State& state) {
    auto const registry = load_bench_plugin();
    auto const file = kivcore::create<kivcore::reader>(registry, "io/read/c/bench/1.0");
    image_handle const image(dlopen(k_image, RTLD_LAZY | RTLD_LOCAL));
    auto* c_read = reinterpret_cast<kivcore::c_read_function>(dlsym(image.get(), "bench_read"));
    if (!file || file->open("", "r") != 0 || c_read == nullptr) {
        state.SkipWithError("cannot open the reader");
        return;
    }
    auto const count = static_cast<unsigned int>(state.range(0));
    auto const target = std::make_unique<page>();
    stream* base = file.get();
    void* handle = nullptr;
    bench::run_pair(
        state, k_batch,
        [&] {
            for (int i = 0; i < k_batch; ++i) {
                benchmark::DoNotOptimize(base);
                benchmark::DoNotOptimize(base->read(target->bytes, count));
            }
        },
        [&] {
            for (int i = 0; i < k_batch; ++i) {
                benchmark::DoNotOptimize(c_read);
                benchmark::DoNotOptimize(c_read(handle, target->bytes, count));
            }
        });
}
BENCHMARK_TEMPLATE(read_through, kivcore::reader)
    ->Arg(0)
    ->Arg(4096)
    ->Iterations(2000)
    ->UseManualTime();
BENCHMARK_TEMPLATE(read_through, morbase::stream::rd)
    ->Arg(0)
    ->Arg(4096)
    ->Iterations(2000)
    ->UseManualTime();

// The memory from malloc for each plug-in of a loaded collection, including malloc's overhead.
void heap_of_one_plugin(benchmark::State& state) {
    constexpr std::size_t k_count = 1000;
    bench::scratch_directory const scratch;
    bench::write_collection(scratch.path(), k_count, bench::mixture::k_plain);
    for (auto _ : state) {
        morbase::ptr_refcount<kivcore::plugins> const registry(new kivcore::plugins("/"));
        std::size_t const before = mallinfo2().uordblks;
        int const loaded = registry->load_plugins(scratch.path());
        std::size_t const after = mallinfo2().uordblks;
        state.counters["bytes"] = static_cast<double>(after - before) / loaded;
    }
}
BENCHMARK(heap_of_one_plugin)->Iterations(3);

}  // namespace

BENCHMARK_MAIN();
