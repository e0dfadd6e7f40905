// Collects what is found in one description.

#ifndef KIVPLUG_CHECK_REPORTER_H
#define KIVPLUG_CHECK_REPORTER_H

#include <cstddef>
#include <string>
#include <utility>

#include "finding.h"
#include "markup.h"
#include "wording.h"

namespace kivplug {

class reporter {
  public:
    // All three outlive it.
    reporter(std::string const& path, markup const& places, findings& list)
        : file(path), document(places), found(list), first(list.size()) {}

    // Adds a finding at an offset into the document, up to a number: nobody reads more.
    void add(int rule, std::size_t place, std::string const& problem, std::string const& repair);

    // The same, at a line and column, or at a line only.
    void add_at(int rule, std::pair<int, int> place, std::string const& problem,
                std::string const& repair);

    location at(std::size_t place) const;
    markup const& places() const { return document; }

    bool is_empty() const { return found.size() == first; }
    bool is_full() const;

    // Brings what was added into the order of the document.
    void sort();

  private:
    std::string const& file;
    markup const& document;
    findings& found;
    std::size_t const first;
};

}  // namespace kivplug

#endif
