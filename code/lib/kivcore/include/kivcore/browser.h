// A plug-in object that lists directories and files, for example those inside an archive, on a
// device or in a service. The plug-in defines the form of paths; start from root(). Use a browser
// from one thread at a time. The caller owns lists, maps and strings. Exceptions of the plug-in
// pass through.
//
// The list of a path that does not exist, or is a file, is empty. Use can_browse to distinguish
// it from an empty directory. A path that does not exist has no info and no url.

#ifndef KIVCORE_BROWSER_H
#define KIVCORE_BROWSER_H

#include <map>
#include <string>
#include <utility>
#include <vector>

#include <kivcore/export.h>
#include <kivcore/plugin.h>

namespace kivcore {

class KIVCORE_API browser : public plugin {
  public:
    // Entries of a list: the name to show, and the path to pass back.
    using entry_list = std::vector<std::pair<std::string, std::string>>;

    ~browser() override;

    // Returns "browser".
    std::string kind() override;

    // Whether path is something that this browser can list.
    virtual bool can_browse(std::string const& path) = 0;

    // The path from which browsing starts. May be empty; then the caller must supply a path.
    virtual std::string root() = 0;

    // Appends the directories and the files directly below path to the lists. Pass null for a
    // list that you do not need.
    virtual void get_list(std::string const& path,
                          std::vector<std::pair<std::string, std::string>>* dirs,
                          std::vector<std::pair<std::string, std::string>>* files) = 0;

    // Adds what is known about path to info, all as text. The plug-in defines the keys; other
    // keys in info stay.
    virtual void get_info(std::string const& path, std::map<std::string, std::string>& info) = 0;

    // Sets url to what the matching reader's open takes for the file at path. If there is no such
    // file, leaves url unchanged.
    virtual void get_url(std::string const& path, std::string& url) = 0;

    // What the functions above find; empty if there is nothing.
    std::pair<entry_list, entry_list> list(std::string const& path);  // directories, files
    entry_list list_dirs(std::string const& path);
    entry_list list_files(std::string const& path);
    std::map<std::string, std::string> info(std::string const& path);
    std::string url(std::string const& path);
};

}  // namespace kivcore

#endif
