// Loading a collection of plug-in directories, compared with a bare walk through the same
// descriptions. Each load runs in a new process. The programs run alternately, on files in the
// page cache. The result is CPU time, user and system separate.
//
// usage: load_bench [OPTION]...              the measurement, with Google Benchmark's options
//        load_bench --load=WAY DIR           one load; prints its CPU time in microseconds
//        load_bench --write=COUNT DIR        writes a mixed collection of COUNT directories

#include <sys/resource.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <benchmark/benchmark.h>

#include "collection.h"
#include "loading.h"
#include "paired.h"

namespace {

struct cpu_time {
    double user = 0;
    double system = 0;

    double total() const { return user + system; }
};

cpu_time cpu_time_now() {
    rusage used{};
    getrusage(RUSAGE_SELF, &used);
    auto const microseconds = [](timeval const& time) {
        return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_usec);
    };
    return {microseconds(used.ru_utime), microseconds(used.ru_stime)};
}

struct close_pipe {
    void operator()(std::FILE* pipe) const noexcept { pclose(pipe); }
};

// The CPU time for each of `count` directories, loaded in a new process.
cpu_time load_in_process(std::string const& way, std::string const& dir, double count) {
    std::string const command =
        "exec /proc/" + std::to_string(getpid()) + "/exe --load=" + way + " '" + dir + "'";
    std::unique_ptr<std::FILE, close_pipe> const pipe(popen(command.c_str(), "re"));
    double loaded = 0;
    cpu_time used;
    if (!pipe || std::fscanf(pipe.get(), "%lf %lf %lf", &loaded, &used.user, &used.system) != 3 ||
        loaded != count) {
        throw std::runtime_error("the process that was to load by " + way + " failed");
    }
    return {used.user / count, used.system / count};
}

// The times of one way of loading.
struct series {
    std::vector<cpu_time> times;

    double median() const {
        std::vector<double> totals;
        for (cpu_time const& time : times) {
            totals.push_back(time.total());
        }
        return bench::median(totals);
    }

    // The kernel samples user and system time, so only their means are reliable.
    double mean(double cpu_time::*part) const {
        double sum = 0;
        for (cpu_time const& time : times) {
            sum += time.*part;
        }
        return sum / static_cast<double>(times.size());
    }
};

void report(benchmark::State& state, std::string const& prefix, series const& measured) {
    state.counters[prefix + "us"] = measured.median();
    state.counters[prefix + "user_us"] = measured.mean(&cpu_time::user);
    state.counters[prefix + "system_us"] = measured.mean(&cpu_time::system);
}

void load(benchmark::State& state, bench::mixture kind) {
    bench::scratch_directory const scratch;
    bench::write_collection(scratch.path(), static_cast<std::size_t>(state.range(0)), kind);
    auto const count = static_cast<double>(state.range(0));
    load_in_process("bytes", scratch.path(), count);  // brings the files into the page cache
    series ours;
    series walk;
    series bytes;
    std::vector<double> ratios;
    for (auto _ : state) {
        walk.times.push_back(load_in_process("walk", scratch.path(), count));
        ours.times.push_back(load_in_process("kivcore", scratch.path(), count));
        bytes.times.push_back(load_in_process("bytes", scratch.path(), count));
        ratios.push_back(ours.times.back().total() / walk.times.back().total());
        state.SetIterationTime(ours.times.back().total() * count * 1e-6);
    }
    state.counters["ratio"] = bench::median(ratios);
    report(state, "", ours);
    report(state, "floor_", walk);
    report(state, "bytes_", bytes);
}
BENCHMARK_CAPTURE(load, plain, bench::mixture::k_plain)
    ->Arg(100)
    ->Arg(1000)
    ->Iterations(21)
    ->UseManualTime();
BENCHMARK_CAPTURE(load, mixed, bench::mixture::k_mixed)->Arg(1000)->Iterations(21)->UseManualTime();
BENCHMARK_CAPTURE(load, plain, bench::mixture::k_plain)->Arg(10000)->Iterations(9)->UseManualTime();
BENCHMARK_CAPTURE(load, plain, bench::mixture::k_plain)
    ->Arg(100000)
    ->Iterations(3)
    ->UseManualTime();

int load_once(std::string const& way, std::string const& dir) {
    cpu_time const before = cpu_time_now();
    std::size_t const loaded = bench::load_by(way, dir);
    cpu_time const after = cpu_time_now();
    std::printf("%zu %.0f %.0f\n", loaded, after.user - before.user, after.system - before.system);
    return EXIT_SUCCESS;
}

int run(int argc, char** argv) {
    std::string_view const first = argc == 3 ? argv[1] : "";
    if (first.substr(0, 7) == "--load=") {
        return load_once(argv[1] + 7, argv[2]);
    }
    if (first.substr(0, 8) == "--write=") {
        bench::write_collection(argv[2], std::strtoul(argv[1] + 8, nullptr, 10),
                                bench::mixture::k_mixed);
        return EXIT_SUCCESS;
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return EXIT_FAILURE;
    }
    benchmark::RunSpecifiedBenchmarks();
    return EXIT_SUCCESS;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (std::exception const& error) {
        std::fprintf(stderr, "load_bench: %s\n", error.what());
        return EXIT_FAILURE;
    }
}
