// An LV2 plug-in without ports, which does nothing.

#include <lv2/core/lv2.h>

#include "faults.h"

namespace {

LV2_Handle instantiate(LV2_Descriptor const* /*descriptor*/, double /*rate*/,
                       char const* /*bundle*/, LV2_Feature const* const* /*features*/) {
    create_faultily();
#ifdef RETURNS_NULL
    return nullptr;
#else
    return new int;
#endif
}

LV2_Descriptor const k_descriptor = {
    "urn:scoreboard",
    instantiate,
    [](LV2_Handle, uint32_t /*port*/, void* /*data*/) {},
    nullptr,
    [](LV2_Handle, uint32_t /*count*/) {},
    nullptr,
    [](LV2_Handle made) { delete static_cast<int*>(made); },
    nullptr,
};

}  // namespace

LV2_SYMBOL_EXPORT LV2_Descriptor const* lv2_descriptor(uint32_t index) {
    return index == 0 ? &k_descriptor : nullptr;
}
