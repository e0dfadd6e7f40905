// Captures what any code in the process writes to standard output or standard error while a
// capture exists, at the file descriptor.

#ifndef TESTS_SUPPORT_CAPTURE_H
#define TESTS_SUPPORT_CAPTURE_H

#include <cstdio>
#include <memory>
#include <string>

namespace support {

class capture {
  public:
    // stream: 1 for standard output, 2 for standard error.
    explicit capture(int stream);
    ~capture();

    capture(capture const&) = delete;
    capture& operator=(capture const&) = delete;

    // Ends the capture and returns everything that was written.
    std::string text();

  private:
    struct close_file {
        void operator()(std::FILE* opened) const { std::fclose(opened); }
    };

    void stop();

    int descriptor;
    int original;
    std::unique_ptr<std::FILE, close_file> file;
};

// Both streams at once.
struct captured_output {
    capture out{1};
    capture err{2};
};

}  // namespace support

#endif
