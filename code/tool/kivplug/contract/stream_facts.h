// What a plain read of a stream shows: what every other way to read it must agree with.

#ifndef KIVPLUG_CONTRACT_STREAM_FACTS_H
#define KIVPLUG_CONTRACT_STREAM_FACTS_H

#include <functional>
#include <string>
#include <vector>

#include <kivcore/instance.h>
#include <kivcore/reader.h>

#include "operation.h"
#include "stream_moves.h"
#include "trace.h"

namespace kivplug {

using make_reader = std::function<kivcore::instance<kivcore::reader>()>;

struct stream_facts : stream_abilities {
    std::string content;
    bool is_row = false;               // whether it is a multi_file_reader
    std::vector<long long> file_ends;  // of its files, in bytes from the start

    long long size() const { return static_cast<long long>(content.size()); }
};

// Reads all of it with new readers. Raises a failure when one cannot.
stream_facts facts_of(make_reader const& make, place const& where, trace const& log);

// The whole content that a reader has at a place. expected_size: negative when it is not known.
std::string plain_content(make_reader const& make, place const& where, trace const& log,
                          long long expected_size);

}  // namespace kivplug

#endif
