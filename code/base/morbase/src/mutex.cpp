#include "morbase/mutex.h"

#include <morbase/es.h>

namespace morbase {

namespace {

// What morbase::es::base::file() returns for errors raised here.
constexpr char const* k_source = "code/base/morbase/src/mutex";

class mutex_attributes {
  public:
    explicit mutex_attributes(int type) {
        if (pthread_mutexattr_init(&attributes) != 0) {
            es::call::raise(k_source, __LINE__, "failed to initialise a mutex");
        }
        pthread_mutexattr_settype(&attributes, type);
    }
    ~mutex_attributes() { pthread_mutexattr_destroy(&attributes); }

    mutex_attributes(mutex_attributes const&) = delete;
    mutex_attributes& operator=(mutex_attributes const&) = delete;

    pthread_mutexattr_t const* get() const { return &attributes; }

  private:
    pthread_mutexattr_t attributes{};
};

// A plain mutex is held for less time than a thread needs to fall asleep and wake up, so waiting
// threads spin briefly before they sleep. The error-checking type would not need `owner`, but its
// waiters sleep at once: creating from two threads then takes 1.7 times as long.
#ifdef PTHREAD_ADAPTIVE_MUTEX_INITIALIZER_NP
constexpr int k_plain_type = PTHREAD_MUTEX_ADAPTIVE_NP;
#else
constexpr int k_plain_type = PTHREAD_MUTEX_NORMAL;
#endif

}  // namespace

__thread char const detail::k_this_thread = 0;

mutex::mutex(bool may_nest) : handle(), recursive(may_nest) {
    mutex_attributes const attributes(may_nest ? PTHREAD_MUTEX_RECURSIVE : k_plain_type);
    if (pthread_mutex_init(&handle, attributes.get()) != 0) {
        es::call::raise(k_source, __LINE__, "failed to initialise a mutex");
    }
}

mutex::~mutex() {
    pthread_mutex_destroy(&handle);
}

void mutex::raise_already_locked() {
    es::call::raise(k_source, __LINE__, "mutex is already locked by this thread");
}

void mutex::raise_cannot_lock() {
    es::call::raise(k_source, __LINE__, "failed to lock a mutex");
}

}  // namespace morbase
