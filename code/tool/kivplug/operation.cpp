#include "operation.h"

#include <cerrno>
#include <exception>
#include <system_error>

#include "failure.h"
#include "text.h"

namespace kivplug {

namespace {

// Most plug-ins answer with a negative errno value. -1 is what all others answer, and
// not said to be the EPERM that it would be.
std::string result_text(long long result) {
    std::string text = "result " + std::to_string(result);
    if (result < -1 && result >= -EHWPOISON) {
        text += " (" + std::generic_category().message(static_cast<int>(-result)) + ")";
    }
    return text;
}

// What to do about the result, unless the advice of the one who made the call fits it.
std::string advice_on(long long result, std::string const& operation, std::string const& advice) {
    if (result == -EOPNOTSUPP) {
        return "; the plug-in does not support what is in the file";
    }
    if (result == -EINVAL && operation == "open") {
        return "; check the path or pattern and the mode, and see any message above";
    }
    return advice;
}

}  // namespace

std::string place::describe(std::string const& operation) const {
    return printable(id) + ": " + operation + " of " + quoted(path);
}

std::optional<std::string> thrown_by(std::string const& function, std::function<void()> const& call,
                                     std::string const& advice) {
    try {
        call();
        return std::nullopt;
    } catch (std::exception const& error) {
        char const* const text = error.what();
        return (text != nullptr ? text : "exception without a text") + advice;
    } catch (...) {
        return function + " threw something that is not an exception of the standard library" +
               k_report_fault;
    }
}

void guarded(place const& where, std::string const& operation, std::function<void()> const& call,
             std::string const& advice, std::string const& state) {
    if (auto const reason = thrown_by(operation, call, advice); reason) {
        throw failure(where.describe(operation) + state + " failed: " + *reason);
    }
}

long long checked(place const& where, std::string const& operation,
                  std::function<long long()> const& call, std::string const& advice,
                  std::string const& state) {
    long long result = 0;
    auto const keep = [&] { result = call(); };
    guarded(where, operation, keep, advice, state);
    if (result < 0) {
        throw failure(where.describe(operation) + state + " failed: " + result_text(result) +
                      advice_on(result, operation, advice));
    }
    return result;
}

std::size_t checked_count(place const& where, std::string const& operation, long long count,
                          unsigned long long most) {
    // A buffer of `most` bytes was filled: to write more of it would show foreign memory.
    if (static_cast<unsigned long long>(count) > most) {
        throw failure(where.describe(operation) + " reported " + std::to_string(count) +
                      " bytes where " + std::to_string(most) + " is the most" + k_report_fault);
    }
    return static_cast<std::size_t>(count);
}

void checked_move(place const& where, std::string const& operation, long long target,
                  std::function<long long()> const& call, std::string const& advice) {
    long long const reached = checked(where, operation, call, advice);
    if (reached != target) {
        throw failure(where.describe(operation) + " went to " + std::to_string(reached) +
                      " instead of " + std::to_string(target) + advice);
    }
}

void open_for_reading(kivcore::reader& file, place const& where, std::string const& mode) {
    auto const open = [&] { return file.open(where.path, mode); };
    checked(where, "open", open,
            "; check that it is there and of the kind that this plug-in reads, and the mode " +
                quoted(mode));
}

}  // namespace kivplug
