// A host of LV2 plug-ins: twice, it scans LV2_PATH and creates an object of each plug-in.
// It prints nothing: the messages are lilv's own.

#include <lilv/lilv.h>

#include <cstdio>
#include <memory>

namespace {

struct free_world {
    void operator()(LilvWorld* world) const { lilv_world_free(world); }
};
struct free_instance {
    void operator()(LilvInstance* instance) const { lilv_instance_free(instance); }
};

void scan_and_create() {
    std::unique_ptr<LilvWorld, free_world> const world(lilv_world_new());
    lilv_world_load_all(world.get());
    LilvPlugins const* const plugins = lilv_world_get_all_plugins(world.get());
    LILV_FOREACH(plugins, i, plugins) {
        std::unique_ptr<LilvInstance, free_instance> const made(
            lilv_plugin_instantiate(lilv_plugins_get(plugins, i), 48000, nullptr));
        std::puts(made ? "made" : "not made");
    }
}

}  // namespace

int main() {
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    scan_and_create();
    std::puts("again");
    scan_and_create();
}
