#include "trial_run.h"

#include <cxxabi.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <link.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <exception>
#include <memory>
#include <optional>
#include <thread>
#include <typeinfo>

#include <kivcore/loader.h>
#include <kivcore/plugins.h>
#include <morbase/path.h>

#include "crash_place.h"
#include "exception_text.h"
#include "host_state.h"
#include "image.h"
#include "kind.h"
#include "object_place.h"

namespace kivplug {

namespace {

using kivcore::plugin;

struct close_image {
    void operator()(void* opened) const { dlclose(opened); }
};
using image_handle = std::unique_ptr<void, close_image>;

std::string quote(std::string const& name) {
    return "\"" + name + "\"";
}

nlink_t thread_count() {
    struct stat status {};
    return stat("/proc/self/task", &status) == 0 ? status.st_nlink : 0;
}

// How many shared objects the process has.
unsigned long long object_count() {
    unsigned long long count = 0;
    dl_iterate_phdr(
        [](dl_phdr_info* info, std::size_t, void* result) {
            *static_cast<unsigned long long*>(result) = info->dlpi_adds - info->dlpi_subs;
            return 1;
        },
        &count);
    return count;
}

class trial {
  public:
    trial(std::string plugin_directory, trial_record& kept)
        : directory(std::move(plugin_directory)), object(object_path(directory)), record(kept) {
        note_crashes(record, object);
        // A host has more files open than the standard ones.
        constexpr int k_last = 15;
        for (int number = 0; number >= 0 && number < k_last;) {
            number = ::open("/dev/null", O_RDONLY);
        }
    }

    void run(std::vector<described_plugin> const& plugins, std::size_t first) {
        auto const identity = identity_of(object);
        auto const threads = thread_count();
        auto const objects = object_count();
        host_state const before;
        {
            auto const opened = open();
            try_all(plugins, first, before);
            record.stage = trial_stage::closing;
        }
        require_files("the plug-in", before);
        record.stage = trial_stage::outliving;
        if (identity && is_mapped_image(*identity)) {
            require_no_handle();
        } else if (object_count() == objects) {
            require_no_thread(threads);
            require_no_file(before);
        }
        require_state(before);
        record.stage = trial_stage::done;
    }

  private:
    [[noreturn]] void end(int rule, std::string const& problem) {
        write_text(record.problem, problem);
        record.rule = rule;
        _exit(EXIT_SUCCESS);
    }

    // Makes a call into the plug-in.
    template <typename call_type>
    auto guarded(std::string const& doing, call_type const& call) {
        try {
            return call();
        } catch (...) {
            end(414, doing + " throws " + exception_text());
        }
    }

    // All that it needs is bound at once, unlike in a host: to call what is not there ends a
    // process without a word.
    image_handle open() {
        record.stage = trial_stage::opening;
        return guarded("opening the shared object", [&] {
            image_handle opened(dlopen(object.c_str(), RTLD_NOW | RTLD_LOCAL));
            if (!opened) {
                fail_to_open(dlerror());
            }
            return opened;
        });
    }

    [[noreturn]] void fail_to_open(std::string const& reason) {
        for (char const* const part :
             {"__asan_", "__tsan_", "__msan_", "__ubsan_", "__hwasan_", "libasan", "libtsan"}) {
            if (reason.find(part) < reason.size()) {
                end(403,
                    "the shared object is built with a sanitizer that is not in the process: " +
                        reason);
            }
        }
        if (reason.find("static TLS") < reason.size()) {
            end(404, "the host has no room for the thread-local variables of the shared object: " +
                         reason);
        }
        try {
            kivcore::loader(object).load();
        } catch (std::exception const& error) {
            end(401, error.what());
        }
        end(402, "a host can open it, but not call all that it needs: " + reason);
    }

    void try_all(std::vector<described_plugin> const& plugins, std::size_t first,
                 host_state const& before) {
        kivcore::plugins registry(directory);
        registry.load_plugin(directory);
        // What the library has printed is no word of the plug-in's.
        if (ftruncate(STDOUT_FILENO, 0) == 0) {
            lseek(STDOUT_FILENO, 0, SEEK_SET);
        }
        for (record.plugin = first; record.plugin < plugins.size(); ++record.plugin) {
            auto const& described = plugins[record.plugin];
            for (record.id = 0; record.id < described.ids.size(); ++record.id) {
                try_id(registry, described, described.ids[record.id]);
                require_files("an object of " + quote(described.ids[record.id]), before);
            }
        }
        record.stage = trial_stage::closing;
    }

    void try_id(kivcore::plugins& registry, described_plugin const& described,
                std::string const& id) {
        record.stage = trial_stage::creating;
        morbase::ptr_refcount<kivcore::plugins::factory> maker;  // outlives the objects
        auto const create = [&] {
            return guarded("creating " + quote(id),
                           [&] { return registry.create_with_id(id, maker); });
        };
        auto made = create();
        if (!maker) {
            return;  // the description is to blame
        }
        if (!made) {
            end(415, "creating " + quote(id) + " returns null");
        }
        auto other = create();
        if (!other) {
            end(415, "creating " + quote(id) + " a second time returns null");
        }
        if (other == made) {
            end(416, "creating " + quote(id) + " twice returns the same object twice");
        }
        record.stage = trial_stage::asking;
        require_plugin(id, *made);
        require_kind(described, id, *made);
        record.stage = trial_stage::releasing;
        other = nullptr;
        made = nullptr;
    }

    // Before any other use of what may be no object, or a part of one.
    void require_plugin(std::string const& id, plugin& made) {
        // The compiler's place for it, which typeid may not read when it is null.
        auto const* const functions = *reinterpret_cast<std::type_info const* const**>(&made);
        auto const* const type = functions[-1];
        if (type == nullptr) {
            end(423, "the class of the objects of " + quote(id) +
                         " is compiled without type information (-fno-rtti)");
        }
#ifdef __GLIBCXX__  // others do not declare these
        auto const& base = dynamic_cast<abi::__class_type_info const&>(typeid(plugin));
        void* part = dynamic_cast<void*>(&made);
        if (!type->__do_upcast(&base, &part) || part != &made) {
            end(422, "creating " + quote(id) +
                         " does not return a kivcore::plugin, but a pointer " +
                         "to something else: " + type_name(*type));
        }
#endif
    }

    void require_kind(described_plugin const& described, std::string const& id, plugin& made) {
        auto const said = guarded("kind() of " + quote(id), [&] { return made.kind(); });
        auto const wanted = kind_of_type(described.category, described.type);
        if (!wanted.empty() && said != wanted) {
            end(420, "the type of " + quote(id) + " is " + quote(described.type) +
                         ", but kind() of its object returns " + quote(said) + " instead of " +
                         quote(wanted));
        }
        if (is_kind(said) && !is_of_kind(made, said)) {
            auto const name = interface_name(made);
            end(421, "kind() of " + quote(id) + " returns " + quote(said) +
                         ", but the object is not a kivcore::" + said +
                         (name.empty() ? "" : "; it is a kivcore::" + name));
        }
    }

    void require_files(std::string const& who, host_state const& before) {
        auto const number = before.lost_file();
        if (number >= 0) {
            end(446, who + " closed or replaced the file with the descriptor " +
                         std::to_string(number) + ", which is the host's");
        }
    }

    // Whatever else keeps an object in memory can be seen in its file.
    void require_no_handle() {
        void* const own = dlopen(object.c_str(), RTLD_LAZY | RTLD_NOLOAD);
        bool const is_closed = own != nullptr && dlclose(own) == 0;
        // The second close succeeds only if another handle is open: it would be the plug-in's.
        // cppcheck-suppress doubleFree
        if (is_closed && dlclose(own) == 0) {
            end(430, "the plug-in opens its own shared object and leaves it open");
        }
    }

    // A thread that was joined may be seen for a moment.
    void require_no_thread(nlink_t own) {
        constexpr int k_looks = 500;
        for (int look = 0; thread_count() > own; ++look) {
            if (look == k_looks) {
                end(431,
                    "a thread runs on after the shared object, and its code with it, is closed");
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }

    // A file may be of another library that stays in memory.
    void require_no_file(host_state const& before) {
        auto const file = before.open_file();
        if (!file.empty()) {
            end(433, "the plug-in leaves " + quote(file) + " open");
        }
    }

    void require_state(host_state const& before) {
        auto const handled = before.lost_handler();
        if (!handled.empty()) {
            end(432, "the handler of " + handled + " is in the shared object, which is closed");
        }
        auto const change = before.change();
        if (!change.empty()) {
            end(447, change + " after the shared object is closed");
        }
    }

    std::string directory;
    std::string object;
    trial_record& record;
};

}  // namespace

void run_trial(std::string const& directory, std::vector<described_plugin> const& plugins,
               std::size_t first, trial_record& record) {
    try {
        trial(directory, record).run(plugins, first);
    } catch (std::exception const&) {
        record.stage = trial_stage::starting;  // no fault of the plug-in: memory ran out
    }
}

}  // namespace kivplug
