// The measured ways of loading a collection. Run each in a new process.

#ifndef BENCH_LOADING_H
#define BENCH_LOADING_H

#include <cstddef>
#include <string>

namespace bench {

// Loads the plug-in directories in dir in the way called `way`; returns their number:
// "kivcore"  into a registry;
// "walk"     reads each description from start to end with a new bare libxml2 reader;
// "bytes"    reads the bytes of each description.
// Raises std::runtime_error for any other way.
std::size_t load_by(std::string const& way, std::string const& dir);

}  // namespace bench

#endif
