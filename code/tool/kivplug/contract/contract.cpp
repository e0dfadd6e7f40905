#include "contract.h"

#include <unistd.h>

#include <algorithm>
#include <climits>
#include <memory>
#include <utility>
#include <vector>

#include "apart.h"
#include "browser_subject.h"
#include "frame_subject.h"
#include "json.h"
#include "reader_subject.h"
#include "shrink.h"
#include "text.h"
#include "writer_subject.h"

namespace kivplug {

namespace {

// Calls of a sequence that was not shrunk.
constexpr std::size_t k_most_shown = 24;

// Milliseconds. Each shorter sequence that still hangs takes this time.
constexpr int k_hang_while_shrinking = 2000;

struct finding_of_contract {
    outcome broken;
    long long seed = 0;
    bool is_alone = true;  // the sequence breaks the contract without the sequences before it
};

// The reader with the same key, developer and version as the writer; empty if there is none.
std::string matching_reader(host const& from, std::string const& writer) {
    std::string const type = "/write/";
    auto const place = writer.find(type);
    if (place == std::string::npos) {
        return "";
    }
    auto const reader = std::string(writer).replace(place, type.size(), "/read/");
    return from.registry().describe_plugin(reader) ? reader : "";
}

std::unique_ptr<subject> subject_of(host const& from, contract_options const& options) {
    place const where{from.resolve(options.id), options.path};
    if (options.write) {
        auto const reader = options.read_with.empty() ? matching_reader(from, where.id)
                                                      : from.resolve(options.read_with);
        return std::make_unique<writer_subject>(from, where, reader);
    }
    if (options.frames) {
        return std::make_unique<frame_subject>(from, where);
    }
    if (options.browse) {
        return std::make_unique<browser_subject>(from, where);
    }
    return std::make_unique<reader_subject>(from, where);
}

calls shrunk_in(subject& tested, calls const& sequence, int timeout) {
    return shrunk(sequence, [&](std::vector<calls> const& candidates) {
        workload const work = {candidates.size(), [&](std::size_t i) { return candidates[i]; }};
        auto const found = run_apart(tested, work, {timeout});
        return found.held ? std::nullopt : std::optional(found.number);
    });
}

// Removes the scratch file of a writer, also after a failure or a crash.
class scratch_file {
  public:
    explicit scratch_file(contract_options const& options)
        : path(options.write ? options.path : "") {}
    ~scratch_file() {
        if (!path.empty()) {
            unlink(path.c_str());
        }
    }

    scratch_file(scratch_file const&) = delete;
    scratch_file& operator=(scratch_file const&) = delete;

  private:
    std::string path;
};

// Each sequence has its own seed, so that it can be repeated without the others. Seeds continue
// from 0 after the largest that --seed takes.
finding_of_contract search(subject& tested, contract_options const& options) {
    int const timeout = static_cast<int>(std::min<long long>(options.timeout, INT_MAX));
    auto const seed_of = [&](std::size_t i) {
        return (static_cast<unsigned long long>(options.seed) + i) % (1ULL << 63);
    };
    workload const work = {static_cast<std::size_t>(options.sequences), [&](std::size_t i) {
                               dice random(seed_of(i));
                               return tested.generate(random);
                           }};
    finding_of_contract found;
    found.broken = run_apart(tested, work, {timeout});
    found.seed = static_cast<long long>(seed_of(found.broken.number));
    if (found.broken.held || found.broken.sequence.empty()) {
        return found;
    }
    auto shortest =
        shrunk_in(tested, found.broken.sequence, std::min(timeout, k_hang_while_shrinking));
    auto alone = run_apart(tested, {1, [&](std::size_t) { return shortest; }}, {timeout, false});
    found.is_alone = !alone.held;
    if (found.is_alone) {
        found.broken = std::move(alone);
    }
    return found;
}

std::string repetition(contract_options const& options, finding_of_contract const& found) {
    if (!found.is_alone) {
        return "--seed " + std::to_string(options.seed) + " --sequences " +
               std::to_string(found.broken.number + 1);
    }
    return "--seed " + std::to_string(found.seed) + " --sequences 1";
}

void print_finding(byte_sink& out, contract_options const& options, std::string const& id,
                   finding_of_contract const& found) {
    auto const& made = found.broken.made;
    std::string text = printable(id) + " breaks its contract with " + quoted(options.path) + ":\n";
    std::size_t const first = made.size() > k_most_shown ? made.size() - k_most_shown : 0;
    text += first > 0 ? "    (after " + std::to_string(first) + " other calls)\n" : "";
    for (std::size_t i = first; i < made.size(); ++i) {
        text += "    " + made[i].text + " gave " + made[i].result + "\n";
    }
    text += "expected: " + found.broken.expected + "\n";
    text += "contract: " + found.broken.promise + "\n";
    text += "repeat:   " + repetition(options, found) + "\n";
    text += found.is_alone ? "" : "Without the sequences of earlier seeds, the contract holds.\n";
    out.write(text);
}

json_object json_of(contract_options const& options, std::string const& id,
                    finding_of_contract const& found) {
    json_object object;
    object.add("id", id);
    object.add("path", options.path);
    object.add("seed", found.seed);
    object.add("repeat", repetition(options, found));
    std::vector<json_object> made;
    for (auto const& each : found.broken.made) {
        made.emplace_back();
        made.back().add("call", each.text);
        made.back().add("result", each.result);
    }
    object.add("calls", made);
    object.add("expected", found.broken.expected);
    object.add("contract", found.broken.promise);
    return object;
}

}  // namespace

bool contract(host const& from, byte_sink& out, contract_options const& options) {
    auto const id = from.resolve(options.id);
    auto const tested = subject_of(from, options);
    scratch_file const scratch(options);
    auto const found = search(*tested, options);
    bool const held = found.broken.held;
    print_items(out, options.json, [&](json_array* array) {
        if (array != nullptr && !held) {
            array->add(json_of(options, id, found));
        } else if (!held) {
            print_finding(out, options, id, found);
        } else if (array == nullptr) {
            out.write(printable(id) + " keeps its contract with " + quoted(options.path) + ": " +
                      std::to_string(options.sequences) + " sequences of calls, seeds from " +
                      std::to_string(options.seed) + " on\n");
        }
    });
    return held;
}

}  // namespace kivplug
