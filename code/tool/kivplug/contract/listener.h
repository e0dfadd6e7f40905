// The receiving end of a trace.

#ifndef KIVPLUG_CONTRACT_LISTENER_H
#define KIVPLUG_CONTRACT_LISTENER_H

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

#include "call.h"
#include "process.h"
#include "trace.h"

namespace kivplug {

struct made_call {
    std::string text;
    std::string result;  // empty if the call did not return
};

struct outcome {
    bool held = false;
    std::size_t number = 0;  // of the sequence that broke the contract
    calls sequence;          // its calls
    std::vector<made_call> made;
    std::string expected;
    std::string promise;
};

class listener {
  public:
    // number: a descriptor to read from, which the caller owns. most: how long one sequence may
    // take, besides a multiple of the time that the preparation takes.
    listener(int number, std::chrono::milliseconds most) : source(number), limit(most) {}

    // Listens until the last message, or the end of the process. Call it once. Raises a failure if
    // the process reports one.
    outcome listen(process& child);

  private:
    bool receive();
    void begin_sequence();
    void take(trace::e_message type, std::string const& text);
    void take_messages();
    void explain_silence(process& child);

    int source;
    std::chrono::milliseconds limit;
    std::chrono::steady_clock::time_point prepared_from = std::chrono::steady_clock::now();
    std::chrono::steady_clock::time_point begun = prepared_from;
    std::string pending;  // the start of a message
    std::string outside;  // what the process does when it makes no call
    bool started = false;
    bool ended = false;
    bool late = false;
    outcome heard;
};

}  // namespace kivplug

#endif
