// GStreamer: scans `count` plug-ins in this process, without the registry's cache; creates the
// simplest element by the name of its factory, among `count` other factories; looks up a factory
// without creating an element.

#include <gst/gst.h>

#include "load.h"
#include "peer.h"

namespace {

int count_of_elements() {
    GList* const found =
        gst_registry_get_feature_list(gst_registry_get(), GST_TYPE_ELEMENT_FACTORY);
    auto const count = static_cast<int>(g_list_length(found));
    gst_plugin_feature_list_free(found);
    return count;
}

int load(std::string const& dir) {
    int const before = count_of_elements();
    gst_registry_scan_path(gst_registry_get(), dir.c_str());
    return count_of_elements() - before;
}

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

int main(int argc, char** argv) {
    gst_registry_fork_set_enabled(FALSE);
    gst_init(nullptr, nullptr);
    peer::report_load(argc, argv, load, PEER_PLUGIN);
    report_create(10);
    report_create(1000);
}
