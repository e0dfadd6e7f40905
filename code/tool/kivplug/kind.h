// What objects of plug-ins are, and which verbs fit them.

#ifndef KIVPLUG_KIND_H
#define KIVPLUG_KIND_H

#include <string>

#include <kivcore/plugin.h>

namespace kivplug {

// Names of the interfaces that are readers too, and whose kind() says only that.
constexpr char const* k_kind_frame_reader = "frame_reader";
constexpr char const* k_kind_multi_file_reader = "multi_file_reader";

// Raises the failure for an object that is not a `wanted`: it says what the object is instead, and
// which verb fits that.
[[noreturn]] void fail_for_kind(std::string const& id, kivcore::plugin& made,
                                std::string const& wanted);

}  // namespace kivplug

#endif
