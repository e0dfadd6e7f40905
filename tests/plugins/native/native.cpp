// Create functions: one that makes a reader of a fixed text, one that makes the same under
// another name, one that makes a reader that fails, ones that make a monitor and a browser, one
// that makes nothing and some that throw.

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>

#include <kivcore/kivcore.h>

namespace {

constexpr char k_text[] = "native text";
constexpr long long k_size = sizeof k_text - 1;

class text_reader : public kivcore::reader {
  public:
    int open(std::string const& /*path*/, std::string const& /*mode*/) override { return 0; }
    int close() override { return 0; }

    long long read(void* buffer, unsigned long long count) override {
        auto const left = static_cast<unsigned long long>(k_size - position);
        auto const moved = static_cast<std::size_t>(std::min(count, left));
        std::memcpy(buffer, k_text + position, moved);
        position += static_cast<long long>(moved);
        return static_cast<long long>(moved);
    }

    long long seek(long long offset, morbase::whence origin) override {
        long long const bases[] = {0, position, k_size};
        long long const target = bases[origin] + offset;
        return target >= 0 && target <= k_size ? position = target : -1;
    }

  private:
    long long position = 0;
};

class false_writer final : public text_reader {
  public:
    std::string kind() override { return k_kind_writer; }
};

// Opens nothing but to be read, and then does not support the path, or throws a number.
class failing_reader final : public text_reader {
  public:
    int open(std::string const& path, std::string const& mode) override {
        throws = path == "throw";
        return mode == "r" ? 0 : -EINVAL;
    }
    long long read(void* /*buffer*/, unsigned long long /*count*/) override {
        return throws ? throw 1 : -EOPNOTSUPP;
    }

  private:
    bool throws = false;
};

// Reports a line for the log, and its end.
class logging_monitor final : public kivcore::monitor {
  public:
    int start(std::string const& path, handler* sink) override {
        sink->log(kivsys::_severity::k_warning, "%s of %s", "\x1b[31mloss", path.c_str());
        sink->terminate();
        return 0;
    }
    int poll(int /*timeout_ms*/) override { return 0; }
    int stop() override { return 0; }
};

// Answers a lack of memory with what it has until then, as one that raises nothing must.
class quiet_browser final : public kivcore::browser {
  public:
    bool can_browse(std::string const& /*path*/) override { return true; }
    std::string root() override { return ""; }
    void get_list(std::string const& /*path*/, entry_list* /*dirs*/, entry_list* files) override {
        try {
            files->emplace_back("a name that takes memory", "a path that takes memory");
        } catch (std::exception const&) {
            files->clear();
        }
    }
    void get_info(std::string const& /*path*/,
                  std::map<std::string, std::string>& /*info*/) override {}
    void get_url(std::string const& /*path*/, std::string& /*url*/) override {}
};

struct silent_exception : std::exception {
    char const* what() const noexcept override { return nullptr; }
};

}  // namespace

#define EXPORTED extern "C" __attribute__((visibility("default")))

EXPORTED kivcore::plugin* native_create() {
    return new text_reader;
}

EXPORTED kivcore::plugin* native_create_nothing() {
    return nullptr;
}

EXPORTED kivcore::plugin* native_create_throwing() {
    throw std::runtime_error("the device is busy");
}

EXPORTED kivcore::plugin* native_create_false_writer() {
    return new false_writer;
}

EXPORTED kivcore::plugin* native_create_failing_reader() {
    return new failing_reader;
}

EXPORTED kivcore::plugin* native_create_throwing_silently() {
    throw silent_exception();
}

EXPORTED kivcore::plugin* native_create_throwing_number() {
    throw 1;
}

EXPORTED kivcore::plugin* native_create_monitor() {
    return new logging_monitor;
}

EXPORTED kivcore::plugin* native_create_browser() {
    return new quiet_browser;
}
