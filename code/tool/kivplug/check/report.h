// What a check prints.

#ifndef KIVPLUG_CHECK_REPORT_H
#define KIVPLUG_CHECK_REPORT_H

#include <string>
#include <vector>

#include "checked_directory.h"
#include "json.h"

namespace kivplug {

// The ids of the directory's plug-ins, one after the other.
std::vector<std::string> all_ids(checked_directory const& checked);

// "error", "warning" or "advice".
char const* level_name(level weight);

// "FILE:LINE:COLUMN (SYMBOL)", without what is not known.
std::string place_text(location const& where);

// "description", "conflicts", "binary" or "trial".
char const* step_name(step of);

// "ok", "1 error, 2 warnings", or "skipped".
std::string verdict(step_report const& report);

// Two lines.
std::string finding_text(finding const& each);

// Every rule, as a table in Markdown.
std::string rule_table();

// A line for the directory, one for each step and, below it, two for each finding.
std::string text_report(checked_directory const& checked);

json_object json_report(checked_directory const& checked);

}  // namespace kivplug

#endif
