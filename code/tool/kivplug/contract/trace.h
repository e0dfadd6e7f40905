// What a process that makes calls to a plug-in reports to the one that started it, as it goes: when
// the plug-in ends or blocks the process, the other one knows how far it came.

#ifndef KIVPLUG_CONTRACT_TRACE_H
#define KIVPLUG_CONTRACT_TRACE_H

#include <cstddef>
#include <string>

#include "call.h"
#include "operation.h"

namespace kivplug {

// The contract is broken: raised out of a sequence of calls.
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

// A call whose result has no room for a failure has raised an exception, which is a breach where
// it gave a result before.
struct unanswered : breach {
    unanswered() : breach{"a result, as from this call before", "a failure has a cause"} {}
};

// What a call that threw counts as: a failure.
constexpr long long k_thrown = -1;

class trace {
  public:
    enum e_message : char {
        k_sequence,  // begins; the text is the bytes of its calls
        k_call,      // is about to be made
        k_result,    // of the call
        k_restart,   // with a new object: what came before it does not matter
        k_expected,  // of the call, where the contract was broken
        k_promise,   // of the contract, the last message then
        k_failure,   // the work cannot be done, the last message then
        k_held       // whatever was tried, the last message
    };

    // Before each text.
    struct header {
        e_message type;
        std::size_t length;
    };

    // Writes to the descriptor, which remains the caller's; to none, when it is negative. Ends the
    // process when nobody reads.
    explicit trace(int descriptor) : number(descriptor) {}

    void send(e_message type, std::string const& text = "") const;
    void send_sequence(calls const& made) const;

    // Makes a call that gives a number, or throws; reports both.
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

    // Makes a call that gives something else, and reports it as `shown` puts it into words. Raises
    // unanswered when the call throws.
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
