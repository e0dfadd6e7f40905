// Opening what is tested, before the sequences.

#ifndef KIVPLUG_CONTRACT_OPENED_H
#define KIVPLUG_CONTRACT_OPENED_H

#include <string>

#include "operation.h"
#include "text.h"
#include "trace.h"

namespace kivplug {

// The call as a finding shows it.
inline std::string text_of_open(std::string const& path, char const* mode = "r") {
    return "open(" + quoted(path) + ", '" + mode + "')";
}

// A new object that has opened the place. Raises a failure if it cannot.
template <typename make_type>
auto opened(make_type const& make, place const& where, trace const& log) {
    log.send(trace::k_restart);
    auto file = log.created(make);
    log.send(trace::k_call, text_of_open(where.path));
    open_for_reading(*file, where, "r");
    log.send(trace::k_result, "0");
    return file;
}

}  // namespace kivplug

#endif
