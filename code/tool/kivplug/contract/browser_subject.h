// A browser under test: every list, info and url, in whatever order they are asked for, against
// those of a first walk, and against each other.

#ifndef KIVPLUG_CONTRACT_BROWSER_SUBJECT_H
#define KIVPLUG_CONTRACT_BROWSER_SUBJECT_H

#include <functional>
#include <map>
#include <string>
#include <vector>

#include <kivcore/browser.h>
#include <kivcore/instance.h>

#include "host.h"
#include "operation.h"
#include "subject.h"

namespace kivplug {

struct browsed_place {
    std::string path;
    bool is_directory = false;  // listed as one, and not as a file
    bool is_file = false;       // listed as one
    bool needs_info = false;    // or else is not there
    bool is_absent = false;     // as far as anyone can tell
    bool can_browse = false;
    kivcore::browser::entry_list directories;
    kivcore::browser::entry_list files;
    std::map<std::string, std::string> info;
    std::string url;
};

class browser_subject final : public subject {
  public:
    // An empty path stands for the browser's own root. from must outlive it.
    browser_subject(host const& from, place browsed);

    void prepare(trace const& log) override;
    calls generate(dice& random) const override;
    void run(calls const& sequence, trace const& log) const override;

  private:
    void make_call(kivcore::browser& source, call const& wanted, trace const& log) const;

    place where;
    std::function<kivcore::instance<kivcore::browser>()> make;
    std::vector<browsed_place> known;
};

}  // namespace kivplug

#endif
