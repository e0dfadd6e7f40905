// The row `load`: the CPU time that a library takes to make one plug-in known. Each load runs
// in a new process, on files in the page cache: the program starts itself with the directory
// as its only argument.

#ifndef BENCH_PEERS_LOAD_H
#define BENCH_PEERS_LOAD_H

#include <functional>
#include <string>

namespace peer {

// Makes the plug-ins in `dir` known until the process ends; returns their number.
using load_function = int (*)(std::string const& dir);

// Makes one plug-in called `name` in `dir`.
using make_function = std::function<void(std::string const& dir, std::string const& name)>;

// Takes the arguments of main and prints the rows for directories of 100 and of 1,000 plug-ins.
// If a started process fails or finds another number of plug-ins, it ends the program with a
// message. In the started process it loads and does not return. That process ends without
// destroying anything: destruction is not part of loading, and some libraries destroy data that a
// loader refers to before the loader.
void report_load(int argc, char** argv, load_function load, make_function const& make);

// The same for a library whose plug-in is a shared object: copies of the one at `image`.
void report_load(int argc, char** argv, load_function load, char const* image);

}  // namespace peer

#endif
