#include "listener.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "failure.h"

namespace kivplug {

namespace {

using std::chrono::duration_cast;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr char const* k_survive =
    "an operation returns or raises an exception; it does not end or block the host";

// A sequence may take as long as this many preparations: every seek may decode from the start.
constexpr int k_plain_reads = 40;

// For a status as waitpid returns it.
std::string text_of_end(int status) {
    if (!WIFSIGNALED(status)) {
        return "the end of the process, with status " + std::to_string(WEXITSTATUS(status));
    }
    int const signal = WTERMSIG(status);
    char const* const name = sigdescr_np(signal);
    return "a crash, by signal " + std::to_string(signal) + " (" +
           (name != nullptr ? name : "unknown") + ")";
}

}  // namespace

// Returns false at the end, and after the time limit.
bool listener::receive() {
    auto const left = duration_cast<milliseconds>(begun + limit - steady_clock::now());
    pollfd waiting = {source, POLLIN, 0};
    int const ready = left.count() > 0 ? poll(&waiting, 1, static_cast<int>(left.count())) : 0;
    if (ready < 0 && errno == EINTR) {
        return true;
    }
    late = ready == 0;
    char bytes[65536];
    ssize_t const got = ready > 0 ? ::read(source, bytes, sizeof bytes) : 0;
    pending.append(bytes, got > 0 ? static_cast<std::size_t>(got) : 0);
    return got > 0;
}

void listener::begin_sequence() {
    auto const now = steady_clock::now();
    if (started) {
        ++heard.number;
    } else {
        limit += k_plain_reads * duration_cast<milliseconds>(now - prepared_from);
    }
    started = true;
    begun = now;
}

void listener::take(trace::e_message type, std::string const& text) {
    switch (type) {
        case trace::k_sequence:
            begin_sequence();
            heard.sequence.resize(text.size() / sizeof(call));
            std::memcpy(heard.sequence.data(), text.data(), text.size());
            heard.made.clear();
            return;
        case trace::k_call:
            begun = started ? begun : steady_clock::now();  // each call of the preparation has
                                                            // the whole time limit
            heard.made.push_back({text, ""});
            return;
        case trace::k_result:
            heard.made.back().result = text;
            return;
        case trace::k_restart:
            heard.made.clear();
            return;
        case trace::k_outside:
            outside = text;
            return;
        case trace::k_expected:
            heard.expected = text;
            return;
        case trace::k_promise:
            heard.promise = text;
            break;
        case trace::k_failure:
            throw failure(text);
        case trace::k_held:
            heard.held = true;
    }
    ended = true;
}

void listener::take_messages() {
    trace::header head = {};
    std::size_t place = 0;
    while (!ended && pending.size() - place >= sizeof head) {
        std::memcpy(&head, pending.data() + place, sizeof head);
        if (pending.size() - place - sizeof head < head.length) {
            break;
        }
        take(head.type, pending.substr(place + sizeof head, head.length));
        place += sizeof head + head.length;
    }
    pending.erase(0, place);
}

// The process has ended, or has reached the time limit.
void listener::explain_silence(process& child) {
    std::string const what =
        late ? "no answer for " + std::to_string(limit.count()) + " ms" : text_of_end(child.wait());
    if (heard.made.empty() || !heard.made.back().result.empty()) {
        heard.made.push_back({outside, ""});
    }
    heard.made.back().result = what;
    heard.expected = "a return";
    heard.promise = k_survive;
}

outcome listener::listen(process& child) {
    while (!ended && receive()) {
        take_messages();
    }
    if (!ended) {
        explain_silence(child);
    }
    return std::move(heard);
}

}  // namespace kivplug
