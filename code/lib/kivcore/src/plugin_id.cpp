#include "plugin_id.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <utility>

#include <kivcore/plugins.h>

namespace kivcore {

namespace {

// How many passes are made over what came too late before it is sorted the plain way.
constexpr int k_passes = 8;

// A field of a version as a 32-bit strtoul reads it: blanks and one sign lead, a
// minus negates modulo 2^32, digits count up to what is none, and a number that does
// not fit is the largest.
unsigned int field_value(std::string const& field) {
    std::size_t const start = std::min(field.find_first_not_of(" \t\n\v\f\r"), field.size());
    std::string_view digits = std::string_view(field).substr(start);
    bool const negative = !digits.empty() && digits.front() == '-';
    if (negative || (!digits.empty() && digits.front() == '+')) {
        digits.remove_prefix(1);
    }
    unsigned int number = 0;
    auto const read = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    if (read.ec == std::errc::result_out_of_range) {
        return 0xffffffffU;
    }
    return negative ? 0U - number : number;
}

// A version in one number: a byte for each of its first four fields, the first one
// topmost. A field of more than a byte spills into those above.
unsigned int version_key(std::string const& version, std::vector<std::string>& fields) {
    fields.clear();
    tokenize(version, '.', fields);
    unsigned int key = 0;
    unsigned int shift = 32;
    for (std::size_t i = 0; i < fields.size() && shift > 0; ++i) {
        shift -= 8;
        key |= field_value(fields[i]) << shift;
    }
    return key;
}

// Moves what is in from to the end of to.
void move_behind(std::vector<ranked_id>& to, std::vector<ranked_id>& from) {
    to.insert(to.end(), std::make_move_iterator(from.begin()), std::make_move_iterator(from.end()));
    from.clear();
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

ranked_id::ranked_id(std::string const& whole, std::vector<std::string>& fields)
    : id(whole), prefix_length(std::min(whole.rfind('/'), whole.size())) {
    bool const has_slash = prefix_length < whole.size();
    version = version_key(has_slash ? whole.substr(prefix_length + 1) : whole, fields);
}

bool operator<(ranked_id const& a, ranked_id const& b) {
    int const order = a.prefix().compare(b.prefix());
    return order != 0 ? order < 0 : a.version > b.version;
}

void id_sorter::add(std::string const& id) {
    add(ranked_id(id, fields));
}

void id_sorter::add(ranked_id&& next) {
    if (!run.empty() && run.back().prefix() != next.prefix()) {
        end_run();
    }
    run.push_back(std::move(next));
}

void id_sorter::end_run() {
    std::sort(run.begin(), run.end());
    bool const in_order = kept.empty() || run.empty() || kept.back() < run.front();
    move_behind(in_order ? kept : late, run);
}

id_sorter::ranked_ids id_sorter::take_ranked(int passes) {
    end_run();
    if (late.empty()) {
        return std::exchange(kept, {});
    }
    if (passes == 0) {
        std::sort(late.begin(), late.end());
    } else {
        id_sorter next_pass;
        for (ranked_id& ranked : late) {
            next_pass.add(std::move(ranked));
        }
        late = next_pass.take_ranked(passes - 1);
    }
    ranked_ids all;
    all.reserve(kept.size() + late.size());
    std::merge(std::make_move_iterator(kept.begin()), std::make_move_iterator(kept.end()),
               std::make_move_iterator(late.begin()), std::make_move_iterator(late.end()),
               std::back_inserter(all));
    kept.clear();
    late.clear();
    return all;
}

std::vector<std::string> id_sorter::take_sorted() {
    ranked_ids ranked = take_ranked(k_passes);
    std::vector<std::string> ids;
    ids.reserve(ranked.size());
    for (ranked_id& next : ranked) {
        ids.push_back(std::move(next.id));
    }
    return ids;
}

bool version_greater::operator()(std::string const& a, std::string const& b) const {
    std::vector<std::string> fields;
    fields.reserve(3);
    unsigned int const key_of_a = version_key(a, fields);
    return key_of_a > version_key(b, fields);
}

bool plugin_id_less::operator()(std::string const& a, std::string const& b) const {
    std::vector<std::string> fields;
    return ranked_id(a, fields) < ranked_id(b, fields);
}

}  // namespace kivcore
