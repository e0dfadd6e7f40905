// A process that was started with fork.

#ifndef KIVPLUG_CONTRACT_PROCESS_H
#define KIVPLUG_CONTRACT_PROCESS_H

#include <sys/types.h>
#include <sys/wait.h>

#include <csignal>
#include <utility>

namespace kivplug {

// Kills the process at the end of its lifetime.
class process {
  public:
    explicit process(pid_t started) : id(started) {}
    ~process() {
        if (id > 0) {
            kill(id, SIGKILL);
            wait();
        }
    }

    process(process const&) = delete;
    process& operator=(process const&) = delete;

    // Waits for the end. Returns the status as waitpid returns it.
    int wait() {
        int status = 0;
        waitpid(std::exchange(id, 0), &status, 0);
        return status;
    }

  private:
    pid_t id;
};

}  // namespace kivplug

#endif
