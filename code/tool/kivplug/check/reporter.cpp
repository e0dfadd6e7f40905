#include "reporter.h"

#include <algorithm>
#include <tuple>

namespace kivplug {

namespace {

constexpr std::size_t k_most_findings = 100;

}  // namespace

void reporter::add(int rule, std::size_t place, std::string const& problem,
                   std::string const& repair) {
    add_at(rule, document.line_and_column(place), problem, repair);
}

void reporter::add_at(int rule, std::pair<int, int> place, std::string const& problem,
                      std::string const& repair) {
    if (!is_full()) {
        found.push_back({rule, {file, place.first, place.second}, problem, repair});
    }
}

bool reporter::is_full() const {
    return found.size() - first >= k_most_findings;
}

location reporter::at(std::size_t place) const {
    auto const [line, column] = document.line_and_column(place);
    return {file, line, column};
}

void reporter::sort() {
    auto const place = [](finding const& each) {
        return std::make_tuple(each.where.line, each.where.column);
    };
    std::stable_sort(found.begin() + static_cast<std::ptrdiff_t>(first), found.end(),
                     [&](finding const& a, finding const& b) { return place(a) < place(b); });
}

}  // namespace kivplug
