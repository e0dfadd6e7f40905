#include "notices.h"

#include <unistd.h>

#include "descriptor.h"
#include "text.h"

namespace kivplug {

void print_text(std::string const& text) {
    unsigned long long written = 0;
    write_all(STDERR_FILENO, text.data(), text.size(), written);  // nowhere else to complain
}

void say(std::string const& message) {
    print_text("kivplug: " + printable(message) + "\n");
}

}  // namespace kivplug
