// The line that shows how far a transfer has come, when a person is watching.

#ifndef KIVPLUG_PROGRESS_H
#define KIVPLUG_PROGRESS_H

#include <chrono>

namespace kivplug {

class progress {
  public:
    // Shows nothing unless standard error is a terminal and wanted is true.
    explicit progress(bool wanted);

    // Ends the line, if there is one, so that what is printed next starts on a line of its own.
    ~progress();

    progress(progress const&) = delete;
    progress& operator=(progress const&) = delete;

    // total: the bytes transferred so far. Call it as often as you like.
    void update(unsigned long long total);

  private:
    using clock = std::chrono::steady_clock;

    void show(clock::time_point now) const;

    bool enabled;
    bool line_open = false;
    unsigned long long bytes = 0;
    clock::time_point started;
    clock::time_point shown;
};

}  // namespace kivplug

#endif
