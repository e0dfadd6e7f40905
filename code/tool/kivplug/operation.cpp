#include "operation.h"

#include <cerrno>
#include <exception>

#include "descriptor.h"
#include "failure.h"
#include "text.h"

namespace kivplug {

namespace {

// Most plug-ins return a negative errno value. The others return -1, which is not shown as EPERM.
std::string result_text(long long result) {
    std::string text = "result " + std::to_string(result);
    if (result < -1 && result >= -EHWPOISON) {
        text += " (" + error_text(static_cast<int>(-result)) + ")";
    }
    return text;
}

std::string advice_on(long long result, operation const& failed) {
    if (result == -EOPNOTSUPP) {
        return "; the plug-in does not support what is in the file";
    }
    if (result == -EINVAL && failed.name == "open") {
        return "; check the path or pattern and the mode, and see any message above";
    }
    if (result == -ENOMEM) {
        return k_free_memory;
    }
    if (result == -EFBIG && failed.name == "open") {
        return "; this is beyond a limit of the plug-in, see its plugin.xml";
    }
    return failed.advice;
}

}  // namespace

std::string place::describe(std::string const& operation) const {
    return printable(id) + ": " + operation + " of " + quoted(path);
}

std::string caught_text(std::string const& function, std::string const& advice) {
    try {
        throw;
    } catch (std::bad_alloc const&) {
        return std::string("memory ran out") + k_free_memory;
    } catch (std::exception const& error) {
        char const* const text = error.what();
        return (text != nullptr ? text : "exception without a text") + advice;
    } catch (...) {
        return function + " threw something that is not an exception of the standard library" +
               k_report_fault;
    }
}

void fail_for_exception(place const& where, operation const& failed) {
    throw failure(where.describe(failed.name) + failed.state +
                  " failed: " + caught_text(failed.name, failed.advice));
}

long long checked_result(place const& where, operation const& done, long long result) {
    if (result < 0) {
        throw failure(where.describe(done.name) + done.state + " failed: " + result_text(result) +
                      advice_on(result, done));
    }
    return result;
}

std::size_t checked_count(place const& where, std::string const& operation, long long count,
                          unsigned long long most) {
    // The buffer has `most` bytes: to write more of it would show other memory.
    if (static_cast<unsigned long long>(count) > most) {
        throw failure(where.describe(operation) + " reported " + std::to_string(count) +
                      " bytes where " + std::to_string(most) + " is the most" + k_report_fault);
    }
    return static_cast<std::size_t>(count);
}

void require_target(place const& where, operation const& move, long long reached,
                    long long target) {
    if (reached != target) {
        throw failure(where.describe(move.name) + " went to " + std::to_string(reached) +
                      " instead of " + std::to_string(target) + move.advice);
    }
}

void open_for_reading(kivcore::reader& file, place const& where, std::string const& mode) {
    std::string const advice =
        "; check that it is there and of the kind that this plug-in reads, and the mode " +
        quoted(mode);
    checked(where, {"open", advice}, [&] { return file.open(where.path, mode); });
}

}  // namespace kivplug
