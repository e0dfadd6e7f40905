// The description file of a plug-in directory. It may come from strangers: it is read whole
// before it is parsed, and much of what would make parsing it slow or large has bounds.

#ifndef KIVCORE_DESCRIPTION_DOCUMENT_H
#define KIVCORE_DESCRIPTION_DOCUMENT_H

#include <cstddef>
#include <string>
#include <vector>

#include <kivcore/plugins.h>
#include <kivsys/readxml_base.h>

namespace kivcore {

class description_document final : public kivsys::xml::reader {
  public:
    // Opens and reads the file with exactly this path. Raises es::call when it cannot be
    // opened, is not a regular file or is larger than 16 MiB.
    description_document(std::string const& path, std::string const& schema);

    // As those of the reader. They raise es::call as well when the document has more attributes
    // than a description can have. Beyond a bound of memory_document they raise es::arg.
    bool read() override;
    bool skip() override;

    // Counts the ids that a description from this document will be registered under. Raises
    // es::call when those of the whole document are more than a registry should hold for it.
    void count_ids(plugins::info const& description);

  private:
    void count_attributes();

    std::size_t attributes = 0;       // of all elements so far
    std::vector<std::size_t> around;  // of the current element and those around it, by depth
    std::size_t ids = 0;
    std::size_t ids_length = 0;
};

}  // namespace kivcore

#endif
