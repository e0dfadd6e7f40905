// Calls of a plug-in's operations, with what can go wrong in them turned into failures
// that name the plug-in, the path, the operation and the reason. A plug-in may throw
// exceptions that its own shared object defines: nothing else can be asked about them
// once the object and with it the shared object are gone, so they end here.

#ifndef KIVPLUG_OPERATION_H
#define KIVPLUG_OPERATION_H

#include <cstddef>
#include <functional>
#include <optional>
#include <string>

#include <kivcore/reader.h>

namespace kivplug {

// One plug-in at one path: what every message about it names.
struct place {
    std::string id;
    std::string path;

    std::string describe(std::string const& operation) const;
};

// Makes a call of what the message calls `function`. The text of what it threw with the
// advice behind it, none when it returned; what is not a standard exception is the plug-in's
// fault, whatever the advice. The text is copied here, while what the caller holds of the
// plug-in, and with it its code, is still there.
std::optional<std::string> thrown_by(std::string const& function, std::function<void()> const& call,
                                     std::string const& advice);

// Makes a call that cannot fail but by throwing. Advice is what the message ends with; state,
// what the message says in any case of how far the work had come.
void guarded(place const& where, std::string const& operation, std::function<void()> const& call,
             std::string const& advice, std::string const& state = "");

// Makes a call and gives its result, which is not negative. Results that have one cause
// only have advice of their own.
long long checked(place const& where, std::string const& operation,
                  std::function<long long()> const& call, std::string const& advice,
                  std::string const& state = "");

// A count that a plug-in reports and that cannot be true must not be believed.
std::size_t checked_count(place const& where, std::string const& operation, long long count,
                          unsigned long long most);

// The result of a move must be where it was to lead.
void checked_move(place const& where, std::string const& operation, long long target,
                  std::function<long long()> const& call, std::string const& advice);

void open_for_reading(kivcore::reader& file, place const& where, std::string const& mode);

// Advice for answers that no sound plug-in gives.
constexpr char const* k_report_fault = "; the plug-in is faulty, report it to its developer";

}  // namespace kivplug

#endif
