// Calls of a plug-in's operations. Whatever goes wrong in them becomes a failure that names the
// plug-in, the path, the operation and the reason. A plug-in may throw exceptions of classes that
// its own shared object defines: they must not outlive the shared object, so they end here.

#ifndef KIVPLUG_OPERATION_H
#define KIVPLUG_OPERATION_H

#include <cstddef>
#include <string>

#include <kivcore/reader.h>

namespace kivplug {

// One plug-in at one path: what every message about it names.
struct place {
    std::string id;
    std::string path;

    std::string describe(std::string const& operation) const;
};

// The options of the verbs that show what a plug-in says about a path.
struct view_options {
    std::string id;
    std::string path;
    bool json = false;
};

// An operation of a plug-in, and what the message about its failure says besides the reason.
struct operation {
    std::string name;
    std::string advice;      // the end of the message
    std::string state = {};  // how far the work had come
};

// Advice for content that cannot be read.
constexpr char const* k_check_intact = "; check that it is intact";
constexpr char const* k_free_memory = "; try again with more memory";

// Advice for answers that no sound plug-in gives.
constexpr char const* k_report_fault = "; the plug-in is faulty, report it to its developer";

// The text of the exception that is being handled, and the advice after it. What is not a
// standard exception is the plug-in's fault, whatever the advice. Call this where the plug-in's
// object is still held: the exception's code may be in the plug-in.
std::string caught_text(std::string const& function, std::string const& advice);

// Raises the failure for the exception that is being handled.
[[noreturn]] void fail_for_exception(place const& where, operation const& failed);

// Returns a result that is not negative; raises a failure for any other. A result with only one
// possible cause has advice of its own.
long long checked_result(place const& where, operation const& done, long long result);

// Makes a call that can only fail by throwing, and returns its result.
template <typename call_type>
auto guarded(place const& where, operation const& wanted, call_type const& call) {
    try {
        return call();
    } catch (...) {
        fail_for_exception(where, wanted);
    }
}

// Makes a call and returns its result, which is not negative.
template <typename call_type>
long long checked(place const& where, operation const& wanted, call_type const& call) {
    return checked_result(where, wanted, guarded(where, wanted, call));
}

// Raises a failure for a count of bytes that cannot be true.
std::size_t checked_count(place const& where, std::string const& operation, long long count,
                          unsigned long long most);

// Raises a failure when a move reached another position than its target.
void require_target(place const& where, operation const& move, long long reached, long long target);

void open_for_reading(kivcore::reader& file, place const& where, std::string const& mode);

}  // namespace kivplug

#endif
