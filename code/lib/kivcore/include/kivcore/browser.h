// A plug-in object that lists what is inside something that has directories and
// files: an archive, a device, a service. Paths are the plug-in's own; start from
// root(). One thread at a time uses a browser. Lists, maps and strings are the
// caller's; what the plug-in raises passes through.
//
// A path that is not there, or is a file's, has an empty list: can_browse tells it from a
// directory that is empty. What is not there has no info and no url either.

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

    // "browser"
    std::string kind() override;

    // Whether there is something at path that this browser can list.
    virtual bool can_browse(std::string const& path) = 0;

    // The path from which browsing starts; may be empty when the caller has to bring one.
    virtual std::string root() = 0;

    // Appends the directories and the files directly below path to the lists; a null
    // list is not wanted.
    virtual void get_list(std::string const& path,
                          std::vector<std::pair<std::string, std::string>>* dirs,
                          std::vector<std::pair<std::string, std::string>>* files) = 0;

    // Fills info with what is known about path, all as text. Which keys there are is the
    // plug-in's to say; other keys that info has stay.
    virtual void get_info(std::string const& path, std::map<std::string, std::string>& info) = 0;

    // Gives what the matching reader's open takes for the file at path. Leaves url alone
    // where there is no such file.
    virtual void get_url(std::string const& path, std::string& url) = 0;

    // The same, with the result returned; it is empty where nothing was filled in.
    std::pair<entry_list, entry_list> list(std::string const& path);  // directories, files
    entry_list list_dirs(std::string const& path);
    entry_list list_files(std::string const& path);
    std::map<std::string, std::string> info(std::string const& path);
    std::string url(std::string const& path);
};

}  // namespace kivcore

#endif
