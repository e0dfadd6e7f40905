#include "plugin_id.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include <kivcore/plugins.h>

namespace kivcore {

namespace {

// How many passes are made over what came too late before it is sorted the plain way.
constexpr int k_passes = 8;

// A field of a version as a 32-bit strtoul reads it: blanks and one sign lead, a
// minus negates modulo 2^32, digits count up to what is none, and a number that does
// not fit is the largest.
unsigned int field_value(std::string_view field) {
    std::size_t const start = std::min(field.find_first_not_of(" \t\n\v\f\r"), field.size());
    std::string_view digits = field.substr(start);
    bool const negative = !digits.empty() && digits.front() == '-';
    if (negative || (!digits.empty() && digits.front() == '+')) {
        digits.remove_prefix(1);
    }
    unsigned int number = 0;  // what stays where there is no digit
    auto const read = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    if (read.ec == std::errc::result_out_of_range) {
        return 0xffffffffU;
    }
    return negative ? 0U - number : number;
}

// A version in one number: a byte for each of its first four fields, the first one
// topmost. A field of more than a byte spills into those above.
unsigned int version_key(std::string_view version) {
    unsigned int key = 0;
    for (unsigned int const shift : {24U, 16U, 8U, 0U}) {
        std::size_t const dot = std::min(version.find('.'), version.size());
        key |= field_value(version.substr(0, dot)) << shift;
        if (dot == version.size()) {
            break;
        }
        version.remove_prefix(dot + 1);
    }
    return key;
}

// The length of an id without its last field; an id of one field is its own prefix.
std::size_t prefix_length_of(std::string_view id) {
    return std::min(id.rfind('/'), id.size());
}

// Of an id whose prefix is that long.
unsigned int version_of(std::string_view id, std::size_t prefix_length) {
    return version_key(prefix_length < id.size() ? id.substr(prefix_length + 1) : id);
}

// The order of ids, the lengths of whose prefixes are known.
bool comes_before(std::string_view a, std::size_t prefix_of_a, std::string_view b,
                  std::size_t prefix_of_b) {
    int const order = a.substr(0, prefix_of_a).compare(b.substr(0, prefix_of_b));
    return order != 0 ? order < 0 : version_of(a, prefix_of_a) > version_of(b, prefix_of_b);
}

}  // namespace

void tokenize(std::string const& s, char sep, std::vector<std::string>& out) {
    std::size_t start = 0;
    for (std::size_t p = s.find(sep); p != std::string::npos; p = s.find(sep, start)) {
        out.emplace_back(s, start, p - start);
        start = p + 1;
    }
    out.emplace_back(s, start);
}

void id_sorter::add(std::string_view id) {
    add(ranked_id{id, prefix_length_of(id)});
}

void id_sorter::add(ranked_id const& next) {
    if (!run.empty() && run.front().prefix() != next.prefix()) {
        end_run();
    }
    run.push_back(next);
}

// Most ids have a prefix to themselves, and then their version, which is slow to read, need
// not be known. Prefixes that are kept ascend; a run whose prefix does not lie behind the
// last one is late.
void id_sorter::end_run() {
    if (run.size() > 1) {
        for (ranked_id& ranked : run) {
            ranked.version = version_of(ranked.id, ranked.prefix_length);
        }
        std::sort(run.begin(), run.end(),
                  [](ranked_id const& a, ranked_id const& b) { return a.version > b.version; });
    }
    bool const is_late = !run.empty() && !kept.ids.empty() &&
                         kept.at(kept.ids.size() - 1).prefix() >= run.front().prefix();
    if (is_late) {
        late.insert(late.end(), run.begin(), run.end());
    } else {
        for (ranked_id const& ranked : run) {
            kept.ids.emplace_back(ranked.id);
            kept.prefix_lengths.push_back(ranked.prefix_length);
        }
    }
    run.clear();
}

bool id_sorter::is_less(ranked_id const& a, ranked_id const& b) {
    return comes_before(a.id, a.prefix_length, b.id, b.prefix_length);
}

// Merges what was kept with what came too late, which the passes that are left sort.
// NOLINTNEXTLINE(misc-no-recursion): as deep as there are passes
id_sorter::sorted_ids id_sorter::take(int passes) {
    end_run();
    if (!late.empty()) {
        merge_into(kept, sorted_late(passes));
    }
    return std::move(kept);
}

// NOLINTNEXTLINE(misc-no-recursion): as deep as there are passes
id_sorter::sorted_ids id_sorter::sorted_late(int passes) {
    if (passes == 0) {  // after this, no run comes too late
        std::sort(late.begin(), late.end(), is_less);
    }
    id_sorter next_pass;
    for (ranked_id const& ranked : late) {
        next_pass.add(ranked);
    }
    return next_pass.take(passes - 1);
}

// From the back, where there is room: what is moved away never lies ahead of where it goes.
void id_sorter::merge_into(sorted_ids& all, sorted_ids more) {
    std::size_t left = all.ids.size();
    std::size_t left_of_more = more.ids.size();
    all.ids.resize(left + left_of_more);
    all.prefix_lengths.resize(left + left_of_more);
    while (left_of_more > 0) {
        bool const from_more = left == 0 || !is_less(more.at(left_of_more - 1), all.at(left - 1));
        sorted_ids& from = from_more ? more : all;
        std::size_t const taken = --(from_more ? left_of_more : left);
        std::size_t const place = left + left_of_more;
        all.ids[place] = std::move(from.ids[taken]);
        all.prefix_lengths[place] = from.prefix_lengths[taken];
    }
}

std::vector<std::string> id_sorter::take_sorted() {
    return take(k_passes).ids;
}

bool version_greater::operator()(std::string const& a, std::string const& b) const {
    return version_key(a) > version_key(b);
}

bool plugin_id_less::operator()(std::string const& a, std::string const& b) const {
    return comes_before(a, prefix_length_of(a), b, prefix_length_of(b));
}

}  // namespace kivcore
