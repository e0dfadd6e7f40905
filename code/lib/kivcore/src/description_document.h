// The description file of a plug-in directory. It may come from an untrusted source: it is read
// into memory before it is parsed, and there are limits on everything that could make reading
// slow or use much memory.

#ifndef KIVCORE_DESCRIPTION_DOCUMENT_H
#define KIVCORE_DESCRIPTION_DOCUMENT_H

#include <cstddef>
#include <string>

#include <kivcore/plugins.h>
#include <kivsys/readxml_base.h>

namespace kivcore {

class description_document final : public kivsys::xml::reader {
  public:
    // Opens and reads the file at path, which is never treated as a URL. Raises es::call if the
    // file cannot be opened, is not a regular file, or is larger than 16 MiB.
    description_document(std::string const& path, std::string const& schema);

    // Adds up the ids under which the descriptions in this document will be registered. Raises
    // es::call if the document has too many ids, or if they are too long in total.
    void count_ids(plugins::info const& description);

  private:
    std::size_t ids = 0;
    std::size_t ids_length = 0;
};

}  // namespace kivcore

#endif
