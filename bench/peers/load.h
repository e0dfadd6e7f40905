// The row `load`: how long a library takes to make plug-ins known, in CPU time for one.
// Each load runs in a fresh process, over files that are in the page cache: the program
// starts itself with the directory as its one argument.

#ifndef BENCH_PEERS_LOAD_H
#define BENCH_PEERS_LOAD_H

#include <functional>
#include <string>

namespace peer {

// Makes the plug-ins in `dir` known until the process ends, and says how many they are.
using load_function = int (*)(std::string const& dir);

// Makes one plug-in called `name` in `dir`.
using make_function = std::function<void(std::string const& dir, std::string const& name)>;

// Given the arguments of main, prints the rows, over directories of 100 and of 1,000
// plug-ins. Ends the program with a message when a started process fails or finds another
// number of them. In the started process it loads and does not return. That one ends without
// emptying anything: it is no part of loading, and some libraries lose what a loader refers to
// before the loader goes.
void report_load(int argc, char** argv, load_function load, make_function const& make);

// The same for a library whose plug-in is a shared object: copies of the one at `image`.
void report_load(int argc, char** argv, load_function load, char const* image);

}  // namespace peer

#endif
