// The ways to load a collection that are measured, each to be run in a fresh process.

#ifndef BENCH_LOADING_H
#define BENCH_LOADING_H

#include <cstddef>
#include <string>

namespace bench {

// The plug-in directories that were loaded by the way called `way`:
// "kivcore"  into a registry;
// "walk"     each description read from end to end by a bare libxml2 reader of its own;
// "bytes"    the bytes of each description read.
// Raises std::runtime_error for another way.
std::size_t load_by(std::string const& way, std::string const& dir);

}  // namespace bench

#endif
