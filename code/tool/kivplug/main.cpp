// kivplug: shows plug-ins and puts them to use from the command line. This file starts the work and
// turns its outcome into an exit status.

#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <exception>
#include <new>
#include <string>
#include <string_view>

#include "arguments.h"
#include "descriptor.h"
#include "failure.h"
#include "notices.h"
#include "output.h"
#include "text.h"

namespace {

enum e_status : int { k_done = 0, k_failed = 1, k_misused = 2 };

// Whether memory has run out at any time. A stream takes that for the end of its text, and a
// plug-in may take it for an empty directory: no result counts as complete after it.
std::atomic<bool> has_memory_run_out{false};

[[noreturn]] void note_lack_of_memory() {
    has_memory_run_out = true;
    throw std::bad_alloc();
}

// Allocates nothing.
int report_lack_of_memory() {
    constexpr std::string_view message =
        "kivplug: memory ran out, and what was printed may be incomplete; try again with more\n";
    unsigned long long written = 0;
    kivplug::write_all(STDERR_FILENO, message.data(), message.size(), written);
    return k_failed;
}

int run(kivplug::byte_sink& out, int count, char** words) {
    bool const is_whole = kivplug::carry_out(out, count, words);
    out.finish();
    if (has_memory_run_out) {  // also where that kept the reason of a failure from being said
        return report_lack_of_memory();
    }
    return is_whole ? k_done : k_failed;
}

std::terminate_handler const k_default_end = std::get_terminate();

// CLI11 2.4 lets no exception pass while it adds an option, not even one for lack of memory.
[[noreturn]] void end_for_lack_of_memory() {
    if (has_memory_run_out) {
        std::_Exit(report_lack_of_memory());
    }
    k_default_end();
    std::abort();
}

// On one line, whatever a plug-in put into it. A line end of its own would be shown as \n.
int report_failure(std::string message) {
    message.erase(message.find_last_not_of(" \n") + 1);
    kivplug::say(message);
    return k_failed;
}

// The exit status of the whole program.
int run_reporting(int count, char** words) {
    try {
        // Before anything else: what prints from here on must not end up in the results.
        kivplug::byte_sink out = kivplug::take_standard_output();
        return run(out, count, words);
    } catch (kivplug::misuse const& error) {
        kivplug::say(error.what());
        kivplug::print_text("\n" + error.usage());
        return k_misused;
    } catch (kivplug::output_closed const&) {
        return k_failed;
    } catch (std::bad_alloc const&) {
        throw;
    } catch (std::exception const& error) {
        return report_failure(error.what());
    } catch (...) {
        return report_failure("unknown exception; report it to the plug-in's developer");
    }
}

}  // namespace

int main(int count, char** words) {
    std::set_new_handler(note_lack_of_memory);
    std::set_terminate(end_for_lack_of_memory);
    try {
        return run_reporting(count, words);
    } catch (std::bad_alloc const&) {
        return report_lack_of_memory();
    }
}
