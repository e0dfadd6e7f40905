// The description file of a plug-in directory. It may come from strangers: it is read whole
// before it is parsed, and what would make reading it slow or large has bounds.

#ifndef KIVCORE_DESCRIPTION_DOCUMENT_H
#define KIVCORE_DESCRIPTION_DOCUMENT_H

#include <cstddef>
#include <string>

#include <kivcore/plugins.h>
#include <kivsys/readxml_base.h>

namespace kivcore {

class description_document final : public kivsys::xml::reader {
  public:
    // Opens and reads the file with exactly this path. Raises es::call when it cannot be
    // opened, is not a regular file or is larger than 16 MiB.
    description_document(std::string const& path, std::string const& schema);

    // Counts the ids that a description from this document will be registered under. Raises
    // es::call when those of the whole document are more than a registry should hold for it.
    void count_ids(plugins::info const& description);

  private:
    std::size_t ids = 0;
    std::size_t ids_length = 0;
};

}  // namespace kivcore

#endif
