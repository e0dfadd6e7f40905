// A picture of plug-in directories, the ids that they give, and the ids that several give.

#ifndef KIVPLUG_CHECK_ID_PICTURE_H
#define KIVPLUG_CHECK_ID_PICTURE_H

#include <string>
#include <vector>

#include "checked_directory.h"

namespace kivplug {

// text with the characters of markup replaced, and made printable.
std::string html_text(std::string const& text);

// An svg element, coloured by the page's classes; empty without ids.
std::string id_picture(std::vector<checked_directory> const& all);

}  // namespace kivplug

#endif
