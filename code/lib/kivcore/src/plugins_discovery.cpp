// How the registry finds plug-ins on disk: it walks directories and reads their descriptions.

#include <dirent.h>
#include <sys/stat.h>

#include <cerrno>
#include <memory>
#include <string>
#include <string_view>
#include <system_error>

#include <kivcore/factory.h>
#include <kivcore/load_observer.h>
#include <kivcore/loader.h>
#include <kivcore/plugins.h>
#include <kivsys/host_errors_aside.h>
#include <morbase/es.h>
#include <morbase/path.h>

#include "cancellation.h"
#include "description.h"
#include "description_document.h"
#include "notices.h"

namespace kivcore {

namespace {

struct close_directory {
    void operator()(DIR* open) const noexcept { closedir(open); }
};
using directory = std::unique_ptr<DIR, close_directory>;

// Whether an entry may be a plug-in directory. For a link, or where the file system does not
// report the type, opening the description decides.
bool may_be_plugin(dirent const& entry) {
    return entry.d_name[0] != '.' &&
           (entry.d_type == DT_DIR || entry.d_type == DT_LNK || entry.d_type == DT_UNKNOWN);
}

// Whether an entry whose type the file system does not report is neither a directory nor a link.
bool is_known_file(dirent const& entry, std::string const& path) {
    struct stat status {};
    return entry.d_type == DT_UNKNOWN && lstat(path.c_str(), &status) == 0 &&
           !S_ISDIR(status.st_mode) && !S_ISLNK(status.st_mode);
}

bool is_own_or_parent(dirent const& entry) {
    std::string_view const name = entry.d_name;
    return name == "." || name == "..";
}

// Reads the description of the plugin element that is the current node. If the document breaks
// off inside the element, raises the reader's error: that explains more than the missing part of
// the description would.
morbase::ptr_refcount<plugins::info> read_description(description_document& document,
                                                      std::string const& dir) {
    morbase::ptr_refcount<plugins::info> description;
    try {
        description = new __info(document, dir);
    } catch (morbase::es::base const&) {
        document.raise_if_broken_off();
        throw;
    }
    document.raise_if_broken_off();
    return description;
}

// Shows each entry of a directory of plug-ins to `visit`, as its path and its directory entry.
// Returns 0, or an errno value if the directory cannot be read to its end.
template <typename visitor>
int visit_entries(std::string const& dir, visitor const& visit) {
    directory const open(opendir(dir.c_str()));
    if (!open) {
        return errno;
    }
    for (;;) {
        errno = 0;  // only this distinguishes the end from a failure
        dirent const* const found = readdir(open.get());
        if (found == nullptr) {
            return errno;
        }
        visit(morbase::path_appended(dir, found->d_name, '/'), *found);
    }
}

}  // namespace

// Registers every plug-in in a directory's description. False if the name of an element cannot be
// read.
bool plugins::load_description(std::string const& dir, notices& to) {
    kivsys::xml::host_errors_aside const aside;
    description_document document(dir + "/plugin.xml", root_path + "/plugin.rng");
    to.receive_reports(document);
    morbase::ptr_refcount<loader> const image(new loader(dir + "/darwin/x86/plugin.so"));

    std::string name;
    while (document.next_node()) {
        if (document.get_type() != kivsys::xml::reader::k_node_element) {
            continue;
        }
        if (!document.get_name(name)) {
            to.element_without_name();
            return false;
        }
        if (name == k_plugin_element) {
            auto const description = read_description(document, dir);
            document.count_ids(*description);
            enter(description, create_factory(image, description), to);
        }
    }
    document.raise_if_broken_off();
    return true;
}

bool plugins::load_directory(std::string const& dir, notices& to) {
    try {
        return load_description(dir, to);
    } catch (morbase::es::base const& error) {
        to.failed(error.what());
    } catch (char const* reason) {
        to.failed(reason);
    } catch (...) {
        to.failed("unknown reason");
    }
    return false;
}

bool plugins::load_plugin(std::string const& dir) {
    cancellation_put_off const until_done;
    return load_directory(dir, printed_notices());
}

bool plugins::load_plugin(std::string const& dir, load_observer& observer) {
    cancellation_put_off const until_done;
    observed_notices kept(dir);
    bool const is_loaded = load_directory(dir, kept);
    kept.deliver(observer, is_loaded);
    return is_loaded;
}

int plugins::load_plugins(std::string const& dir) {
    int count = 0;
    visit_entries(dir, [&](std::string const& path, dirent const& entry) {
        count += may_be_plugin(entry) && load_plugin(path) ? 1 : 0;
    });
    return count;
}

int plugins::load_plugins(std::string const& dir, load_observer& observer) {
    int count = 0;
    int const error = visit_entries(dir, [&](std::string const& path, dirent const& entry) {
        if (may_be_plugin(entry) && !is_known_file(entry, path)) {
            count += load_plugin(path, observer) ? 1 : 0;
        } else if (!is_own_or_parent(entry)) {
            call_observer([&] {
                observer.passed_over(path, entry.d_name[0] == '.' ? "hidden" : "not a directory");
            });
        }
    });
    if (error != 0) {
        call_observer([&] {
            observer.failed(dir, "cannot be listed: " + std::generic_category().message(error));
        });
    }
    return count;
}

}  // namespace kivcore
