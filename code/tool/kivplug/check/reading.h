// A description as the library reads it: by the library's own code.

#ifndef KIVPLUG_CHECK_READING_H
#define KIVPLUG_CHECK_READING_H

#include <cstddef>
#include <string>
#include <vector>

#include <kivcore/plugins.h>
#include <morbase/ptr_refcount.h>

#include "markup.h"

namespace kivplug {

// What the XML library reported. Line and column are 0 where it does not know them.
struct xml_report {
    std::string message;
    int line = 0;
    int column = 0;
};

struct reading {
    struct plugin {
        std::size_t element;  // of the markup; k_nowhere if that is not known
        morbase::ptr_refcount<kivcore::plugins::info> description;
    };

    std::vector<plugin> plugins;      // those that are registered
    std::string failure;              // why the library reads no further; empty if it does
    bool is_xml = false;              // whether that is about the XML
    std::vector<xml_report> reports;  // the first is the cause of such a failure
};

// Reads the description of the directory. `places` is the markup of text.
reading read_description(std::string const& directory, std::string const& text,
                         markup const& places);

// What the schema for descriptions finds in a document that the library reads to its end.
std::vector<xml_report> schema_reports(std::string const& path, std::string const& text);

// A text in UTF-8, to find places in. The library converts for itself.
struct utf8_copy {
    std::string text;
    std::string encoding = "UTF-8";  // of the original
    bool is_whole = true;            // or it ends at the first byte that is not valid there
};
utf8_copy utf8_copy_of(std::string const& text);

}  // namespace kivplug

#endif
