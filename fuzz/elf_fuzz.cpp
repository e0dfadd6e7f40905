// The input is the shared object of a plug-in directory. The check reads it, reports what it likes
// and raises nothing.

#include <support/files.h>

#include "check/binary_step.h"
#include "input.h"

namespace {

constexpr std::size_t k_most_findings = 200;

kivplug::described_plugin plugin() {
    kivplug::described_plugin described;
    for (char const* symbol : {"create", "read", "seek_to", "size"}) {
        described.functions.push_back({"create", symbol, {"plugin.xml", 1, 1}});
    }
    return described;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    static support::temporary_directory const files;
    files.write("darwin/x86/plugin.so", fuzz::text_of(data, size));
    kivplug::findings found;
    kivplug::check_binary(files.path(), {plugin()}, found);
    fuzz::require(found.size() < k_most_findings, "a report has an end");
    for (auto const& each : found) {
        fuzz::require(!each.where.file.empty() && !each.problem.empty() && !each.repair.empty(),
                      "a finding has a place, a problem and a repair");
    }
    return 0;
}
