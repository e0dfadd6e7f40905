// Create functions that go wrong, each in one way, and one that does not. ON_OPENING and ON_CLOSING
// may name one for the shared object's own start or end.

#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <termios.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <stdexcept>
#include <thread>

#include <kivcore/reader.h>
#include <kivcore/writer.h>

#define CREATES extern "C" __attribute__((visibility("default"))) kivcore::plugin*

namespace {

[[noreturn]] void fail() {
    throw std::runtime_error("no licence");
}

int crashed() {
    int* volatile const nowhere = nullptr;
    return *nowhere;
}

class reader : public kivcore::reader {
  public:
    int open(std::string const&, std::string const&) override { return 0; }
    int close() override { return 0; }
    long long read(void*, unsigned long long) override { return 0; }
    long long seek(long long, morbase::whence) override { return 0; }
};

struct lying_reader : reader {
    std::string kind() override { return k_kind_writer; }
};

struct own_object : kivcore::plugin {
    std::string kind() override { return k_kind_reader; }
};

struct thrower : reader {
    std::string kind() override { throw 1; }
};

struct crashing_reader : reader {
    ~crashing_reader() override { result = crashed(); }
    int volatile result = 0;
};

struct throwing_reader : reader {
    ~throwing_reader() override { fail(); }
};

struct other_base {
    virtual ~other_base() = default;
};

struct second_base_reader : other_base, reader {};

[[noreturn]] void loop() {
    for (int volatile i = 0;; i = 1) {
    }
}

void fill(int file) {
    static char const block[1 << 16] = {};
    while (write(file, block, sizeof block) > 0) {
    }
}

}  // namespace

CREATES sound() {
    prctl(PR_SET_PDEATHSIG, 0);  // as the runtime of clang's profiles does
    return new reader;
}

// Ends of the process.
CREATES crashes() {
    return crashed() != 0 ? new reader : nullptr;
}
CREATES crashes_on_release() {
    return new crashing_reader;
}
CREATES aborts() {
    std::fputs("plugin.cpp:7: assertion failed\n", stderr);
    std::abort();
}
CREATES loses_thread() {
    std::thread const lost([] {});
    return new reader;
}
CREATES throws_on_release() {
    return new throwing_reader;
}
CREATES exits() {
    std::exit(0);
}
CREATES ends_at_once() {
    _exit(3);
}
CREATES ends_thread() {
    pthread_exit(nullptr);
}
CREATES lacks_sanitizer() {
    std::fputs("==1==ASan runtime does not come first in initial library list\n", stderr);
    _exit(1);
}
CREATES kills_itself() {
    return std::raise(SIGKILL), new reader;
}
CREATES hangs() {
    loop();
}
CREATES sleeps() {
    sigset_t all;
    sigfillset(&all);
    sigprocmask(SIG_BLOCK, &all, nullptr);
    for (;;) {
        pause();
    }
}

// Results.
CREATES throws() {
    fail();
}
CREATES throws_number() {
    throw 7;
}
CREATES throws_as_kind() {
    return new thrower;
}
CREATES makes_nothing() {
    return nullptr;
}
CREATES repeats_object() {
    static reader* const only = new reader;
    return only;
}
CREATES lies_about_type() {
    return new lying_reader;
}
CREATES lies_about_interface() {
    return new own_object;
}

CREATES returns_other_base() {
    return reinterpret_cast<kivcore::plugin*>(new second_base_reader);
}

// What is left.
CREATES keeps_handle() {
    Dl_info own;
    dladdr(reinterpret_cast<void*>(&sound), &own);
    dlopen(own.dli_fname, RTLD_NOW);
    return new reader;
}
CREATES leaves_thread() {
    std::thread([] {
        for (;;) {
            pause();
        }
    }).detach();
    return new reader;
}
CREATES leaves_handler() {
    std::signal(SIGUSR1, [](int) {});
    return new reader;
}
CREATES leaves_terminate_handler() {
    std::set_terminate([] { std::abort(); });
    return new reader;
}
CREATES leaves_file() {
    return open("/dev/zero", O_RDONLY) >= 0 ? new reader : nullptr;
}
CREATES changes_directory() {
    return chdir("/") == 0 ? new reader : nullptr;
}
CREATES changes_environment() {
    return setenv("KIVCORE_TRIAL", "1", 1) == 0 ? new reader : nullptr;
}
CREATES ignores_signal() {
    return std::signal(SIGPIPE, SIG_IGN) != SIG_ERR ? new reader : nullptr;
}
CREATES replaces_output() {
    return dup2(STDIN_FILENO, STDOUT_FILENO) >= 0 ? new reader : nullptr;
}
CREATES closes_descriptors() {
    for (int number = 3; number < 1024; ++number) {
        close(number);
    }
    return new reader;
}

// Attacks.
CREATES takes_memory() {
    for (;;) {
        std::memset(std::malloc(1 << 20), 1, 1 << 20);
    }
}
CREATES takes_threads() {
    for (;;) {
        std::thread([] { pause(); }).detach();
    }
}
CREATES fills_file() {
    fill(open("filled", O_WRONLY | O_CREAT, 0600));
    return new reader;
}
CREATES prints_on() {
    fill(STDOUT_FILENO);
    return new reader;
}
CREATES forks() {
    for (;;) {
        fork();
    }
}
CREATES daemonises() {
    if (syscall(SYS_clone, SIGCHLD, nullptr, nullptr, nullptr, nullptr) == 0) {
        setsid();
        sleep(1000);
    }
    return new reader;
}
CREATES runs_shell() {
    return std::system("sleep 1000 &") == 0 ? new reader : nullptr;
}
CREATES becomes_program() {
    execl("/bin/true", "true", nullptr);
    return new reader;
}
CREATES kills_group() {
    return kill(0, SIGKILL), new reader;
}
CREATES kills_group_of_parent() {
    return kill(-getpgid(getppid()), SIGKILL), new reader;
}
CREATES kills_parent() {
    return kill(getppid(), SIGKILL), new reader;
}
CREATES kills_all() {
    return kill(-1, SIGKILL), new reader;
}
CREATES limits_parent() {
    rlimit const none{0, 0};
    prlimit(getppid(), RLIMIT_CPU, &none, nullptr);
    return new reader;
}
CREATES signals_parent_by_file() {
    int ends[2];
    if (pipe(ends) == 0) {
        fcntl(ends[0], F_SETOWN, getppid());
        fcntl(ends[0], F_SETSIG, SIGKILL);
        fcntl(ends[0], F_SETFL, O_ASYNC);
    }
    return write(ends[1], "", 1) > 0 ? new reader : nullptr;
}
CREATES changes_terminal() {
    termios settings = {};
    tcsetattr(STDIN_FILENO, TCSANOW, &settings);
    return new reader;
}
// Writes over all memory that it shares with another process.
#ifndef FORGED
#define FORGED 0xff
#endif
CREATES forges() {
    std::FILE* const maps = std::fopen("/proc/self/maps", "r");
    char line[512];
    while (std::fgets(line, sizeof line, maps) != nullptr) {
        char* start = nullptr;
        char* end = nullptr;
        if (std::sscanf(line, "%p-%p rw-s", reinterpret_cast<void**>(&start),
                        reinterpret_cast<void**>(&end)) == 2 &&
            std::strstr(line, "rw-s") != nullptr) {
            std::memset(start, FORGED, static_cast<std::size_t>(end - start));
        }
    }
    _exit(0);
}

#ifdef ON_OPENING
__attribute__((constructor)) static void start() {
    ON_OPENING();
}
#endif
#ifdef ON_CLOSING
__attribute__((destructor)) static void end() {
    ON_CLOSING();
}
#endif
#ifdef LARGE_THREAD_LOCAL
__attribute__((tls_model("initial-exec"))) thread_local char large[1 << 22];
CREATES uses_thread_local() {
    return large[0] == 0 ? new reader : nullptr;
}
#endif
