// A GStreamer plug-in with one element, which does nothing.

#include <gst/gst.h>

#include "faults.h"

namespace {

gboolean register_element(GstPlugin* plugin) {
    GType const type = g_type_register_static_simple(
        GST_TYPE_ELEMENT, "Scoreboard", sizeof(GstElementClass),
        [](gpointer element_class, gpointer /*data*/) {
            gst_element_class_set_static_metadata(GST_ELEMENT_CLASS(element_class), "Scoreboard",
                                                  "Source", "Does nothing", "kivcore");
        },
        sizeof(GstElement),
        [](GTypeInstance* /*element*/, gpointer /*element_class*/) { create_faultily(); },
        static_cast<GTypeFlags>(0));
    return gst_element_register(plugin, "scoreboard", GST_RANK_NONE, type);
}

}  // namespace

#define PACKAGE "scoreboard"
GST_PLUGIN_DEFINE(GST_VERSION_MAJOR, GST_VERSION_MINOR, scoreboard, "Does nothing",
                  register_element, "1.0", "BSD", "scoreboard", "https://example.org")
