// GStreamer: creation of the simplest element by the name of its factory, of which the
// registry has `count` more; the look-up of a factory alone.

#include <gst/gst.h>

#include "peer.h"

namespace {

GType element_type() {
    static GType const type = g_type_register_static_simple(
        GST_TYPE_ELEMENT, "BenchElement", sizeof(GstElementClass),
        [](gpointer element_class, gpointer /*data*/) {
            gst_element_class_set_static_metadata(GST_ELEMENT_CLASS(element_class), "Bench",
                                                  "Source", "Does nothing", "kivcore");
        },
        sizeof(GstElement), nullptr, static_cast<GTypeFlags>(0));
    return type;
}

void report_create(int count) {
    auto const names = peer::names(count);
    for (std::string const& name : names) {
        gst_element_register(nullptr, name.c_str(), GST_RANK_NONE, element_type());
    }
    peer::report("create", count, count, [&] {
        for (std::string const& name : names) {
            gst_object_unref(gst_element_factory_make(name.c_str(), nullptr));
        }
    });
    peer::report("describe", count, count, [&] {
        for (std::string const& name : names) {
            gst_object_unref(gst_element_factory_find(name.c_str()));
        }
    });
}

}  // namespace

int main() {
    gst_init(nullptr, nullptr);
    report_create(10);
    report_create(1000);
}
