// What the process that calls a plug-in reports to the process that started it. Every step is
// reported at once: if the plug-in ends or blocks its process, the other one knows where.

#ifndef KIVPLUG_CONTRACT_TRACE_H
#define KIVPLUG_CONTRACT_TRACE_H

#include <cstddef>
#include <string>

#include "call.h"
#include "operation.h"

namespace kivplug {

// The contract is broken. Raised during a sequence of calls.
struct breach {
    std::string expected;  // of the last call, in words
    std::string promise;   // what a public header says about it
};

// Raises a breach unless the contract was kept.
inline void require(bool kept, std::string const& expected, char const* promise) {
    if (!kept) {
        throw breach{expected, promise};
    }
}

// A call that cannot return a failure has raised an exception.
struct unanswered : breach {
    unanswered()
        : breach{"a result, not an exception",
                 "kivcore/browser.h, frame_reader.h: if there is nothing to return, a list or an "
                 "info is empty, and a record is null"} {}
};

// The result of a call that raised an exception. It counts as a failure.
constexpr long long k_thrown = -1;

// What a process does outside of the calls.
constexpr char const* k_creation = "creation of an object";
constexpr char const* k_release = "release of the objects";

class trace {
  public:
    enum e_message : char {
        k_sequence,  // begins; the text is the bytes of its calls
        k_call,      // is about to be made
        k_result,    // of the call
        k_restart,   // with a new object: the calls before it do not matter
        k_outside,   // what happens outside of the calls from now on
        k_expected,  // of the call that broke the contract
        k_promise,   // of the contract; the last message of a breach
        k_failure,   // the test cannot be done; the last message
        k_held       // in all sequences; the last message
    };

    // Before each text.
    struct header {
        e_message type;
        std::size_t length;
    };

    // Writes to the descriptor, which the caller owns. A negative one drops everything. Ends the
    // process if there is no reader.
    explicit trace(int descriptor) : number(descriptor) {}

    void send(e_message type, std::string const& text = "") const;
    void send_sequence(calls const& made) const;

    // Creates an object. `make` is not one of the calls.
    template <typename make_type>
    auto created(make_type const& make) const {
        send(k_outside, k_creation);
        auto object = make();
        send(k_outside, k_release);
        return object;
    }

    // Makes a call that returns a number, and reports it. Returns the result.
    template <typename call_type>
    long long ask(std::string const& text, call_type const& make) const {
        send(k_call, text);
        try {
            long long const result = make();
            send(k_result, std::to_string(result));
            return result;
        } catch (...) {
            send(k_result, "an exception: " + caught_text("the operation", ""));
            return k_thrown;
        }
    }

    // Makes a call that returns something else, and reports the result as text, which `shown`
    // returns. Raises unanswered if the call raises an exception.
    template <typename call_type, typename show_type>
    auto ask_for(std::string const& text, call_type const& make, show_type const& shown) const {
        send(k_call, text);
        try {
            auto result = make();
            send(k_result, shown(result));
            return result;
        } catch (...) {
            send(k_result, "an exception: " + caught_text("the operation", ""));
        }
        throw unanswered();
    }

  private:
    int number;
};

}  // namespace kivplug

#endif
