#include <unistd.h>

#include <stdexcept>

#include <support/capture.h>

namespace support {

capture::capture(int stream) : descriptor(stream), original(dup(stream)), file(std::tmpfile()) {
    std::fflush(nullptr);
    if (original < 0 || !file || dup2(fileno(file.get()), descriptor) < 0) {
        throw std::runtime_error("cannot capture a descriptor");
    }
}

capture::~capture() {
    stop();
}

void capture::stop() {
    if (original < 0) {
        return;
    }
    // Nothing is flushed here: the library must write its messages at once.
    dup2(original, descriptor);
    close(original);
    original = -1;
}

std::string capture::text() {
    stop();
    std::rewind(file.get());
    std::string all;
    for (int c = std::fgetc(file.get()); c != EOF; c = std::fgetc(file.get())) {
        all += static_cast<char>(c);
    }
    return all;
}

}  // namespace support
