// The verbs that stream bytes through a plug-in: read and write.

#ifndef KIVPLUG_TRANSFER_H
#define KIVPLUG_TRANSFER_H

#include <functional>
#include <limits>
#include <string>

#include <kivcore/reader.h>

#include "descriptor.h"
#include "host.h"
#include "operation.h"

namespace kivplug {

// In place of a file name, this means standard input or output.
constexpr char const* k_standard = "-";

// Calls `copy` to fill the output, which is created or emptied only now, and closes it and the
// reader, which is open at `where`. Refuses an output that the reader is known to read, and a
// shared object in use: emptying it would empty the input, or end the process. When something fails
// later, the failure says what the output holds.
void deliver(kivcore::reader& file, place const& where, std::string const& output,
             byte_sink& standard_output, std::function<void(byte_sink&)> const& copy);

struct read_options {
    std::string id;
    std::string path;  // what it means is up to the plug-in
    std::string mode = "r";
    std::string output = k_standard;
    long long offset = 0;
    long long count = std::numeric_limits<long long>::max();
};

// Copies what the reader gives to the output, which is neither created nor emptied
// before the reader has opened the path.
void read(host const& from, byte_sink& standard_output, read_options const& options);

struct write_options {
    std::string id;
    std::string path;
    std::string mode = "w";
    std::string input = k_standard;
};

// Copies the input to the writer, which does not open the path before the input is open.
// Prints nothing itself; the path may be standard output's.
void write(host const& from, byte_sink& standard_output, write_options const& options);

}  // namespace kivplug

#endif
