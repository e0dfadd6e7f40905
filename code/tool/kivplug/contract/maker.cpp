#include "maker.h"

#include <algorithm>
#include <iterator>

#include <kivcore/plugin.h>

namespace kivplug {

namespace {

struct kind_advice {
    std::string kind;
    char const* advice;
};

}  // namespace

void fail_for_option(wrong_kind const& error) {
    kind_advice const known[] = {
        {kivcore::plugin::k_kind_writer, "use --write"},
        {kivcore::plugin::k_kind_browser, "use --browse"},
        {kivcore::plugin::k_kind_monitor, "'kivplug contract' does not test monitors"},
        {k_kind_frame_reader, "use --frames, or test it as a reader, without an option"},
    };
    kind_advice const* const found =
        std::find_if(std::begin(known), std::end(known),
                     [&](kind_advice const& each) { return each.kind == error.actual; });
    throw failure(error.problem + "; " +
                  (found != std::end(known) ? found->advice
                                            : "test it without --write, --frames or --browse"));
}

}  // namespace kivplug
