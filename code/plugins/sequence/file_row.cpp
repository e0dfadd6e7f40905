#include "file_row.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <system_error>

namespace sequence {

namespace {

// The callers return only numbers, so print here which file is at fault, and why.
int refuse(int code, std::string const& subject, std::string const& reason) {
    std::string const line = "sequence: " + subject + " " + reason + "\n";
    std::fputs(line.c_str(), stderr);
    return code;
}

int refuse_with_errno(std::string const& path, int number) {
    return refuse(-number, path, "cannot be used: " + std::generic_category().message(number));
}

}  // namespace

int file_row::find(std::string const& pattern) {
    std::size_t const name_start = pattern.rfind('/') + 1;  // 0 without a separator
    directory_path = pattern.substr(0, name_start);
    std::string const problem = names.parse(pattern.substr(name_start));
    if (!problem.empty()) {
        return refuse(-EINVAL, pattern, problem);
    }
    std::string const listed = directory_path.empty() ? "." : directory_path;
    directory.reset(opendir(listed.c_str()));
    if (!directory) {
        return refuse_with_errno(listed, errno);
    }
    std::vector<long long> numbers;
    int const unlisted = list_numbers(numbers);
    if (unlisted != 0) {
        return refuse_with_errno(listed, -unlisted);
    }
    if (numbers.empty()) {
        return refuse(-ENOENT, pattern, "does not match any file");
    }
    int const gap = refuse_gap(numbers);
    if (gap != 0) {
        return gap;
    }
    first_number = numbers.front();
    return measure(numbers.size());
}

// In ascending order.
int file_row::list_numbers(std::vector<long long>& numbers) {
    int const failure = bundled::visit_entries(directory, [&](dirent const& entry) {
        long long const number = names.number_in(entry.d_name);
        if (number >= 0) {
            numbers.push_back(number);
        }
    });
    std::sort(numbers.begin(), numbers.end());
    return -failure;
}

// Without the missing file, every later byte would be at a wrong position, and no host could
// notice.
int file_row::refuse_gap(std::vector<long long> const& numbers) const {
    auto const before_gap =
        std::adjacent_find(numbers.begin(), numbers.end(),
                           [](long long one, long long next) { return next != one + 1; });
    if (before_gap == numbers.end()) {
        return 0;
    }
    return refuse(-ENOENT, directory_path + names.name_of(*before_gap + 1),
                  "is missing: the sequence runs from " + names.name_of(numbers.front()) + " to " +
                      names.name_of(numbers.back()));
}

// Reads the sizes only once, so that positions keep their meaning while the sequence is open.
int file_row::measure(std::size_t files) {
    ends.reserve(files);
    long long total = 0;
    for (std::size_t i = 0; i < files; ++i) {
        struct stat status = {};
        std::string const name = names.name_of(first_number + static_cast<long long>(i));
        if (fstatat(dirfd(directory.get()), name.c_str(), &status, 0) != 0) {
            return refuse_with_errno(directory_path + name, errno);
        }
        if (!S_ISREG(status.st_mode)) {
            return refuse(-EINVAL, directory_path + name, "is not a regular file");
        }
        if (status.st_size > LLONG_MAX - total) {
            return refuse(-EOVERFLOW, directory_path + name, "makes the sequence too large");
        }
        total += status.st_size;
        ends.push_back(total);
    }
    return 0;
}

std::string file_row::path(std::size_t index) const {
    return directory_path + names.name_of(first_number + static_cast<long long>(index));
}

std::size_t file_row::index_at(long long position) const {
    auto const holder = std::upper_bound(ends.begin(), ends.end(), position);
    auto const index = static_cast<std::size_t>(holder - ends.begin());
    return std::min(index, ends.size() - 1);
}

bundled::descriptor file_row::open_file(std::size_t index) const {
    std::string const name = names.name_of(first_number + static_cast<long long>(index));
    return bundled::open_for_reading(name.c_str(), dirfd(directory.get()));
}

}  // namespace sequence
