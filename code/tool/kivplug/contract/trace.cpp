#include "trace.h"

#include <unistd.h>

#include "descriptor.h"

namespace kivplug {

void trace::send(e_message type, std::string const& text) const {
    if (number < 0) {
        return;
    }
    header const head = {type, text.size()};
    std::string message(reinterpret_cast<char const*>(&head), sizeof head);
    message += text;
    unsigned long long written = 0;
    if (write_all(number, message.data(), message.size(), written) != 0) {
        _exit(1);
    }
}

void trace::send_sequence(calls const& made) const {
    send(k_sequence,
         std::string(reinterpret_cast<char const*>(made.data()), made.size() * sizeof(call)));
}

}  // namespace kivplug
