// The page that a check writes: self-contained, without scripts, for light and dark screens.

#ifndef KIVPLUG_CHECK_HTML_REPORT_H
#define KIVPLUG_CHECK_HTML_REPORT_H

#include <string>
#include <vector>

#include "checked_directory.h"

namespace kivplug {

// A picture of directories, ids and conflicts, then a row for each plug-in directory with its
// steps, and its findings to unfold.
std::string html_report(std::vector<checked_directory> const& all);

}  // namespace kivplug

#endif
