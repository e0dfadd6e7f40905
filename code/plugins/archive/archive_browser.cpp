// The browser of archives. For a path that is not an archive, or not an entry of one, the list is
// empty and there is no info and no url. Raises only std::bad_alloc, if memory runs out.
//
// The keys of info are documented in plugin.xml, which is installed.
//
// The index of the last archive is kept until another archive is used or the file changes.

#include <cerrno>
#include <ctime>
#include <iterator>
#include <map>
#include <memory>
#include <new>
#include <string>
#include <utility>

#include <archive_entry.h>

#include <kivcore/browser.h>

#include "archive_file.h"
#include "archive_index.h"
#include "archive_path.h"
#include "archive_walk.h"
#include "shared/stream.h"

namespace archives {

namespace {

using text_map = std::map<std::string, std::string>;

struct type_name {
    unsigned int type;
    char const* name;
};

// A hard link has the type of its target, but is shown as a link, because its data is in the
// other entry.
std::string type_of(archive_index::entry const& entry) {
    constexpr type_name k_names[] = {
        {AE_IFREG, "file"},          {AE_IFDIR, "directory"},
        {AE_IFLNK, "symbolic link"}, {AE_IFCHR, "character device"},
        {AE_IFBLK, "block device"},  {AE_IFIFO, "fifo"},
        {AE_IFSOCK, "socket"},
    };
    if (entry.is_hard_link) {
        return "hard link";
    }
    for (type_name const& each : k_names) {
        if (each.type == entry.type) {
            return each.name;
        }
    }
    return "unknown";
}

// rwxr-xr-x, with the letters of ls for the higher bits: capital if the x is missing.
std::string permissions_text(unsigned int permissions) {
    std::string text = "rwxrwxrwx";
    for (std::size_t i = 0; i < text.size(); ++i) {
        if ((permissions & (0400U >> i)) == 0) {
            text[i] = '-';
        }
    }
    constexpr char k_set[] = "sst";
    constexpr char k_set_without_x[] = "SST";
    for (std::size_t i = 0; i < 3; ++i) {
        if ((permissions & (04000U >> i)) != 0) {
            char& x = text[3 * i + 2];
            x = x == 'x' ? k_set[i] : k_set_without_x[i];
        }
    }
    return text;
}

// Empty if the year does not fit.
std::string time_text(time_t time) {
    tm parts = {};
    char text[64];
    if (gmtime_r(&time, &parts) == nullptr) {
        return "";
    }
    return {text, strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts)};
}

void put(text_map& info, char const* key, std::string value) {
    if (!value.empty()) {
        info[key] = std::move(value);
    }
}

void put_entry(text_map& info, archive_index::entry const& entry) {
    info["type"] = type_of(entry);
    info["permissions"] = permissions_text(entry.permissions);
    put(info, "format", readable(*entry.format));
    put(info, "modified", entry.modified ? time_text(*entry.modified) : "");
    put(info, "link", readable(entry.link));
    put(info, "encrypted", entry.is_encrypted ? "yes" : "");
    if (entry.type == AE_IFREG && entry.size && !entry.is_hard_link) {
        info["size"] = std::to_string(*entry.size);
    }
}

void put_root(text_map& info, archive_index const& index) {
    info["entries"] = std::to_string(index.entry_count());
    put(info, "format", readable(index.format()));
    put(info, "compression", readable(index.compression()));
}

// The last component, without its slash.
std::string last_name(std::string path) {
    if (!path.empty() && path.back() == '/') {
        path.pop_back();
    }
    return path.substr(path.rfind('/') + 1);
}

// The path of a directory with a slash at the end.
std::string as_directory(std::string inner) {
    if (!inner.empty() && inner.back() != '/') {
        inner += '/';
    }
    return inner;
}

void append(kivcore::browser::entry_list& to, kivcore::browser::entry_list&& from) {
    to.insert(to.end(), std::make_move_iterator(from.begin()), std::make_move_iterator(from.end()));
}

// Whether an operation succeeded. Raises std::bad_alloc if memory ran out.
bool succeeded(int result) {
    if (result == -ENOMEM) {
        throw std::bad_alloc();
    }
    return result >= 0;
}

class archive_browser final : public kivcore::browser {
  public:
    bool can_browse(std::string const& text) override;
    std::string root() override { return ""; }
    void get_list(std::string const& text, entry_list* dirs, entry_list* files) override;
    void get_info(std::string const& text, text_map& info) override;
    void get_url(std::string const& text, std::string& url) override;

  private:
    bool look_up(std::string const& text, archive_path& path);
    bool has_directory(std::string const& text);
    text_map info_of(std::string const& text);

    std::unique_ptr<archive_index> index;
};

// Parses the text and loads the index of its archive. False if either fails.
bool archive_browser::look_up(std::string const& text, archive_path& path) {
    if (!parse(text, path)) {
        return false;
    }
    if (index && index->is_of(path.archive)) {
        return true;
    }
    index.reset();  // before the next one takes its own memory
    auto fresh = std::make_unique<archive_index>();
    if (!succeeded(fresh->read(path.archive))) {
        return false;
    }
    index = std::move(fresh);
    return true;
}

bool archive_browser::has_directory(std::string const& text) {
    archive_path path;
    return look_up(text, path) && path.ordinal == 1 &&
           index->has_directory(as_directory(path.inner));
}

// For an archive's own path, reads only the beginning of the archive.
bool archive_browser::can_browse(std::string const& text) {
    archive_path path;
    if (!parse(text, path)) {
        return false;
    }
    if (!path.inner.empty()) {
        return has_directory(text);
    }
    archive_file file;
    archive_walk walk;
    if (!succeeded(open_file(path.archive, file)) ||
        !succeeded(walk.start(file.descriptor.get(), {0, file.status.st_size, ""}))) {
        return false;
    }
    int const first = walk.next();
    return first == -EFBIG || succeeded(first);
}

void archive_browser::get_list(std::string const& text, entry_list* dirs, entry_list* files) {
    archive_path path;
    if (!look_up(text, path) || path.ordinal != 1) {
        return;
    }
    entry_list found_dirs;
    entry_list found_files;
    index->list(as_directory(path.inner), found_dirs, found_files);
    if (dirs != nullptr) {
        append(*dirs, std::move(found_dirs));
    }
    if (files != nullptr) {
        append(*files, std::move(found_files));
    }
}

text_map archive_browser::info_of(std::string const& text) {
    text_map info;
    archive_path path;
    if (!look_up(text, path)) {
        return info;
    }
    archive_index::entry const* entry = index->find(path);
    if (entry == nullptr && path.ordinal == 1 && has_directory(text)) {
        path.inner = as_directory(path.inner);
        entry = index->find(path);
        info["type"] = "directory";
    }
    if (entry == nullptr && info.empty()) {
        return info;
    }
    bool const is_root = path.inner.empty();
    info["name"] = readable_name(last_name(is_root ? path.archive : path.inner));
    if (entry != nullptr) {
        put_entry(info, *entry);
    }
    if (is_root) {
        put_root(info, *index);
    }
    // The missing entries may have been in any directory.
    if (is_root || info["type"] == "directory") {
        put(info, "damage", readable(index->damage()));
        put(info, "limit", index->is_limited() ? "yes" : "");
    }
    return info;
}

void archive_browser::get_info(std::string const& text, text_map& info) {
    for (auto& [key, value] : info_of(text)) {
        info[key] = value;
    }
}

void archive_browser::get_url(std::string const& text, std::string& url) {
    archive_path path;
    if (look_up(text, path) && !path.inner.empty() && path.inner.back() != '/' &&
        index->find(path) != nullptr) {
        url = text_of(path);
    }
}

}  // namespace

}  // namespace archives

extern "C" EXPORTED kivcore::plugin* archive_create_browser() {
    return new archives::archive_browser;
}
