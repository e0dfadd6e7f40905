// How the registry finds plug-ins on disk: it walks directories and reads their descriptions.

#include <dirent.h>

#include <cstdio>
#include <memory>
#include <string>

#include <kivcore/factory.h>
#include <kivcore/loader.h>
#include <kivcore/plugins.h>
#include <kivsys/host_errors_aside.h>
#include <morbase/es.h>
#include <morbase/path.h>

#include "cancellation.h"
#include "description_document.h"

namespace kivcore {

namespace {

using kivsys::xml::reader;

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

// Registers every plug-in in a directory's description. False if the name of an element cannot be
// read.
bool load_description(plugins& registry, std::string const& dir, std::string const& schema) {
    kivsys::xml::host_errors_aside const aside;
    description_document document(dir + "/plugin.xml", schema);
    morbase::ptr_refcount<loader> const image(new loader(dir + "/darwin/x86/plugin.so"));

    std::string name;
    while (document.next_node()) {
        if (document.get_type() != reader::k_node_element) {
            continue;
        }
        if (!document.get_name(name)) {
            std::puts("XML parse error");
            std::fflush(stdout);
            return false;
        }
        if (name == "plugin") {
            auto const description = read_description(document, dir);
            document.count_ids(*description);
            registry.register_with_info(description, create_factory(image, description));
        }
    }
    document.raise_if_broken_off();
    return true;
}

bool report_failure(char const* reason) {
    std::fprintf(stderr, "failed to load plugin: %s\n", reason);
    return false;
}

}  // namespace

bool plugins::load_plugin(std::string const& dir) {
    cancellation_put_off const until_done;
    try {
        return load_description(*this, dir, root_path + "/plugin.rng");
    } catch (morbase::es::base const& error) {
        return report_failure(error.what());
    } catch (char const* reason) {
        return report_failure(reason);
    } catch (...) {
        return report_failure("unknown reason");
    }
}

int plugins::load_plugins(std::string const& dir) {
    directory const open(opendir(dir.c_str()));
    if (!open) {
        return 0;
    }
    int count = 0;
    while (dirent const* found = readdir(open.get())) {
        if (may_be_plugin(*found) && load_plugin(morbase::path_appended(dir, found->d_name, '/'))) {
            ++count;
        }
    }
    return count;
}

}  // namespace kivcore
