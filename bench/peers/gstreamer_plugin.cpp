// A GStreamer plug-in with one element. The element has the name of its file, because the elements
// of a process must have different names.

#include <gst/gst.h>

#include <filesystem>
#include <string>

namespace {

gboolean register_element(GstPlugin* plugin) {
    std::string const name = std::filesystem::path(gst_plugin_get_filename(plugin)).stem();
    GType const type = g_type_register_static_simple(
        GST_TYPE_ELEMENT, name.c_str(), sizeof(GstElementClass),
        [](gpointer element_class, gpointer /*data*/) {
            gst_element_class_set_static_metadata(GST_ELEMENT_CLASS(element_class), "Bench",
                                                  "Source", "Does nothing", "kivcore");
        },
        sizeof(GstElement), nullptr, static_cast<GTypeFlags>(0));
    return gst_element_register(plugin, name.c_str(), GST_RANK_NONE, type);
}

}  // namespace

// The library's macro would name a function after the file, but the file is copied.
extern "C" __attribute__((visibility("default"))) GstPluginDesc gst_plugin_desc;
GstPluginDesc gst_plugin_desc = {
    GST_VERSION_MAJOR,   GST_VERSION_MINOR, "bench",   "Does nothing", register_element, "1.0",
    GST_LICENSE_UNKNOWN, "bench",           "kivcore", "kivcore",      nullptr,          {}};
