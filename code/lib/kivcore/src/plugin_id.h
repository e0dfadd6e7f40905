// What the registry knows about plug-in ids as texts: their fields, and what their
// order rests on.

#ifndef KIVCORE_PLUGIN_ID_H
#define KIVCORE_PLUGIN_ID_H

#include <string>
#include <string_view>
#include <vector>

namespace kivcore {

// Appends the fields of s to out: n separators make n + 1 fields, empty ones included.
void tokenize(std::string const& s, char sep, std::vector<std::string>& out);

// An id with what decides its place among others, made once for many comparisons.
struct ranked_id {
    // fields: working space, whose content is lost.
    ranked_id(std::string const& whole, std::vector<std::string>& fields);

    // Without its last field; an id of one field is its own prefix.
    std::string_view prefix() const { return {id.data(), prefix_length}; }

    std::string id;
    std::size_t prefix_length;
    unsigned int version;
};

// By prefix, then the newest version first.
bool operator<(ranked_id const& a, ranked_id const& b);

// Sorts ids that are added in byte order, as they stand in a table. That is nearly the
// order that is wanted: within a run of one prefix the versions are to be sorted, and a
// prefix comes too late where another one goes on from it with a byte that is less than
// "/", or with a "/" itself. Runs that come too late are put aside, sorted by another
// such pass, and merged in.
class id_sorter {
  public:
    void add(std::string const& id);

    // All ids in their order. The sorter is empty afterwards.
    std::vector<std::string> take_sorted();

  private:
    using ranked_ids = std::vector<ranked_id>;

    void add(ranked_id&& next);
    void end_run();
    ranked_ids take_ranked(int passes);

    ranked_ids run;   // ids of one prefix, as they come
    ranked_ids kept;  // in order
    ranked_ids late;  // what belongs somewhere before the end of kept
    std::vector<std::string> fields;
};

}  // namespace kivcore

#endif
