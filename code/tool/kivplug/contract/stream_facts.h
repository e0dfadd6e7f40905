// The result of a plain read of a stream, with which every other way to read it must agree.

#ifndef KIVPLUG_CONTRACT_STREAM_FACTS_H
#define KIVPLUG_CONTRACT_STREAM_FACTS_H

#include <string>
#include <vector>

#include <kivcore/reader.h>

#include "maker.h"
#include "operation.h"
#include "stream_moves.h"
#include "trace.h"

namespace kivplug {

using make_reader = maker<kivcore::reader>;

struct stream_facts : stream_abilities {
    std::string content;
    bool has_files = false;            // whether it is a multi_file_reader
    std::vector<long long> file_ends;  // in bytes from the start

    long long size() const { return static_cast<long long>(content.size()); }
};

// Reads everything, with new readers. Opens one at a time: another open may be refused. Raises a
// failure if a reader cannot read.
stream_facts facts_of(make_reader const& make, place const& where, trace const& log);

// The whole content of a file. expected_size: negative if unknown.
std::string plain_content(make_reader const& make, place const& where, trace const& log,
                          long long expected_size);

}  // namespace kivplug

#endif
