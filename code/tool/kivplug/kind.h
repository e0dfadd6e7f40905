// What objects of plug-ins are, and which verbs fit them.

#ifndef KIVPLUG_KIND_H
#define KIVPLUG_KIND_H

#include <string>
#include <utility>

#include <kivcore/plugin.h>

#include "failure.h"

namespace kivplug {

// Names of the interfaces that are readers too, and whose kind() says only that.
constexpr char const* k_kind_frame_reader = "frame_reader";
constexpr char const* k_kind_multi_file_reader = "multi_file_reader";

// Whether kind() of one of the library's interfaces returns this.
bool is_kind(std::string const& kind);

// Whether the object has an interface with this kind.
bool is_of_kind(kivcore::plugin& object, std::string const& kind);

// The kind that objects of a described category and type should have; empty if an author chose the
// type.
std::string kind_of_type(std::string const& category, std::string const& type);

// The most special interface of the object, whatever it calls itself; empty when it has none.
std::string interface_name(kivcore::plugin& object);

// An object is of another kind than the one that is wanted. The message advises a verb.
class wrong_kind : public failure {
  public:
    wrong_kind(std::string const& what_is_wrong, std::string const& advice, std::string is)
        : failure(what_is_wrong + "; " + advice), problem(what_is_wrong), actual(std::move(is)) {}

    std::string problem;  // the message without the advice
    std::string actual;   // what the object is, see interface_name
};

// Raises wrong_kind for an object that is not a `wanted`, or a failure if its kind() is wrong.
[[noreturn]] void fail_for_kind(std::string const& id, kivcore::plugin& made,
                                std::string const& wanted);

}  // namespace kivplug

#endif
