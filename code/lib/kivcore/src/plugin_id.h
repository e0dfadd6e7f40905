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

// Sorts ids as plugin_id_less does: by what stands before the last "/", their prefix,
// then the newest version first. They are added in byte order, as they stand in a table,
// and that is nearly the order wanted. Ids of one prefix come in a run, whose versions
// are sorted; and a run comes too late where another prefix goes on from its own with a
// byte that is less than "/", or with a "/" itself. Runs that come too late are put
// aside, sorted by another such pass, and merged in.
class id_sorter {
  public:
    // The text must stay where it is until all are taken.
    void add(std::string_view id);

    // All ids in their order. The last thing to ask of a sorter.
    std::vector<std::string> take_sorted();

  private:
    struct ranked_id {
        std::string_view id;
        std::size_t prefix_length;
        unsigned int version = 0;  // known in a run of several only

        std::string_view prefix() const { return id.substr(0, prefix_length); }
    };

    // Ids in their order, copied while they are at hand, with the lengths of their prefixes.
    struct sorted_ids {
        std::vector<std::string> ids;
        std::vector<std::size_t> prefix_lengths;

        ranked_id at(std::size_t i) const { return {ids[i], prefix_lengths[i]}; }
    };

    void add(ranked_id const& next);
    void end_run();
    sorted_ids take(int passes);
    sorted_ids sorted_late(int passes);
    static void merge_into(sorted_ids& all, sorted_ids more);
    static bool is_less(ranked_id const& a, ranked_id const& b);

    std::vector<ranked_id> run;
    std::vector<ranked_id> late;
    sorted_ids kept;
};

}  // namespace kivcore

#endif
