#include "stream_moves.h"

#include <algorithm>
#include <utility>

namespace kivplug {

namespace {

constexpr char const* k_open =
    "kivcore/reader.h, writer.h: open returns 0 on success, negative on failure";
constexpr char const* k_close =
    "kivcore/reader.h, writer.h: close returns 0 on success, negative on failure";
constexpr char const* k_seek =
    "morbase/stream.h: seek moves the position to offset, counted from origin; it returns the new "
    "position, negative on failure";
constexpr char const* k_tell = "morbase/stream.h: tell returns the position";
constexpr char const* k_size = "morbase/stream.h: size returns the size of the whole stream";

constexpr char const* k_origins[] = {"start", "current", "end"};

// A seek to before the start must fail. A seek beyond the end may fail, go there, or stop at the
// end.
void check_target(long long reached, long long offset, long long base, long long size) {
    long long target = 0;
    bool const is_number = !__builtin_add_overflow(base, offset, &target);
    if (is_number && target < 0) {
        require(reached < 0, "a failure: there is no position before the start", k_seek);
    } else if (is_number && target <= size) {
        require(reached == target, std::to_string(target), k_seek);
    } else {
        require(reached < 0 || (is_number && reached == target) || reached == size,
                "a failure" + (is_number ? ", " + std::to_string(target) : "") + " or " +
                    std::to_string(size),
                k_seek);
    }
}

}  // namespace

stream_moves::stream_moves(stream_abilities const& abilities, trace const& reports,
                           std::string called)
    : can(abilities), log(reports), name(std::move(called)) {}

int stream_moves::origin_of(call const& wanted) {
    return std::clamp(wanted.origin, 0, 2);
}

std::string stream_moves::text_of_seek(call const& wanted) {
    return "seek(" + std::to_string(wanted.number) + ", " + k_origins[origin_of(wanted)] + ")";
}

void stream_moves::check_seek(long long reached, call const& wanted, long long size) {
    std::optional<long long> const bases[] = {0, place, size};
    auto const& base = bases[origin_of(wanted)];
    bool const must_succeed = can.can_seek && (origin_of(wanted) != 2 || can.has_size);
    if (base && (reached >= 0 || must_succeed)) {
        check_target(reached, wanted.number, *base, size);
    }
    place = reached >= 0 ? std::optional(reached) : std::nullopt;
}

void stream_moves::check_tell(long long reached) {
    if (reached < 0 && !can.can_tell) {
        return;
    }
    require(place ? reached == *place : reached >= 0, place ? std::to_string(*place) : "0 or more",
            k_tell);
    place = reached;
}

// The default size() seeks to the end and back.
void stream_moves::check_size(long long got, long long size) {
    if (got < 0 && (!can.has_size || !place || *place > size)) {
        place.reset();
        return;
    }
    require(got == size, std::to_string(size) + ", the number of bytes from start to end", k_size);
}

call seek_somewhere(dice& random, long long size) {
    call made{verb::seek, 0, static_cast<int>(random.below(3))};
    long long const bases[] = {0, random.below(size + 1), size};
    long long const place = random.place(size);
    if (__builtin_sub_overflow(place, bases[made.origin], &made.number)) {
        made.number = place;
    }
    return made;
}

void check_open(long long result, bool may_be_refused) {
    require(result == 0 || (result < 0 && may_be_refused), "0", k_open);
}

void check_close(long long result, bool was_open) {
    require(result == 0 || (result < 0 && !was_open), was_open ? "0" : "0 or negative", k_close);
}

}  // namespace kivplug
