#include "load.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <vector>

#include "../collection.h"
#include "peer.h"

namespace peer {

namespace {

struct close_pipe {
    void operator()(std::FILE* pipe) const noexcept { pclose(pipe); }
};

// The CPU time, in nanoseconds, for each of `count` plug-ins.
double load_in_process(std::string const& dir, int count) {
    std::string const command = "exec /proc/" + std::to_string(getpid()) + "/exe '" + dir + "'";
    std::unique_ptr<std::FILE, close_pipe> const pipe(popen(command.c_str(), "re"));
    int loaded = 0;
    double seconds = 0;
    if (!pipe || std::fscanf(pipe.get(), "%d %lf", &loaded, &seconds) != 2) {
        throw std::runtime_error("the process that was to load " + dir + " failed");
    }
    if (loaded != count) {
        throw std::runtime_error("of " + std::to_string(count) + " plug-ins in " + dir + ", " +
                                 std::to_string(loaded) + " were loaded");
    }
    return seconds * 1e9 / count;
}

void report_load_of(int count, make_function const& make) {
    bench::scratch_directory const scratch;
    for (std::string const& name : names(count)) {
        make(scratch.path(), name);
    }
    load_in_process(scratch.path(), count);  // brings the files into the page cache
    std::vector<double> times;
    for (int i = 0; i < 9; ++i) {
        times.push_back(load_in_process(scratch.path(), count));
    }
    std::printf("load %d %.1f\n", count, median(times));
}

// Runs in the started process.
[[noreturn]] void load_once(char const* dir, load_function load) {
    std::clock_t const start = std::clock();
    int const loaded = load(dir);
    double const seconds = static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
    std::printf("%d %.9f\n", loaded, seconds);
    std::fflush(stdout);
    _exit(EXIT_SUCCESS);
}

}  // namespace

void report_load(int argc, char** argv, load_function load, make_function const& make) {
    if (argc == 2) {
        load_once(argv[1], load);
    }
    try {
        report_load_of(100, make);
        report_load_of(1000, make);
    } catch (std::exception const& error) {
        std::fprintf(stderr, "load: %s\n", error.what());
        std::exit(EXIT_FAILURE);
    }
}

void report_load(int argc, char** argv, load_function load, char const* image) {
    // No links: the dynamic linker treats two names of one file as one object.
    make_function const copy = [image](std::string const& dir, std::string const& name) {
        std::filesystem::copy_file(image, dir + "/" + name + ".so");
    };
    report_load(argc, argv, load, copy);
}

}  // namespace peer
