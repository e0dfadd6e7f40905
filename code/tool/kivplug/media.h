// The verbs for readers that know more than a stream: the tracks and frames of a
// frame_reader, the files of a multi_file_reader.

#ifndef KIVPLUG_MEDIA_H
#define KIVPLUG_MEDIA_H

#include <limits>
#include <string>

#include "descriptor.h"
#include "host.h"
#include "operation.h"
#include "transfer.h"

namespace kivplug {

// Prints the record of every track.
void tracks(host const& from, byte_sink& out, view_options const& options);

struct frames_options {
    std::string id;
    std::string path;
    std::string output = k_standard;
    long long track = 0;
    long long first = 0;
    long long count = std::numeric_limits<long long>::max();
};

// Copies frames of one track to the output, as read does with bytes.
void frames(host const& from, byte_sink& standard_output, frames_options const& options);

// One line for each file: its index, its size in bytes and its path.
void files(host const& from, byte_sink& out, view_options const& options);

}  // namespace kivplug

#endif
