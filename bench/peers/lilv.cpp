// lilv: loads `count` bundles, each with the data of one plug-in; looks up a plug-in
// whose description was loaded.

#include <lilv/lilv.h>
#include <sys/stat.h>

#include <cstdlib>
#include <fstream>
#include <memory>

#include "../collection.h"
#include "load.h"
#include "peer.h"

namespace {

struct free_world {
    void operator()(LilvWorld* world) const noexcept { lilv_world_free(world); }
};
using world_handle = std::unique_ptr<LilvWorld, free_world>;

struct free_node {
    void operator()(LilvNode* node) const noexcept { lilv_node_free(node); }
};
using node_handle = std::unique_ptr<LilvNode, free_node>;

void write_bundle(std::string const& dir, std::string const& name) {
    std::string const bundle = dir + "/" + name + ".lv2";
    mkdir(bundle.c_str(), S_IRWXU);
    std::string const prefixes =
        "@prefix lv2: <http://lv2plug.in/ns/lv2core#> .\n"
        "@prefix doap: <http://usefulinc.com/ns/doap#> .\n"
        "@prefix foaf: <http://xmlns.com/foaf/0.1/> .\n"
        "@prefix rdfs: <http://www.w3.org/2000/01/rdf-schema#> .\n";
    std::ofstream(bundle + "/manifest.ttl")
        << prefixes << "<urn:" << name << "> a lv2:Plugin ; lv2:binary <plugin.so> ;\n"
        << "  rdfs:seeAlso <plugin.ttl> .\n";
    std::ofstream(bundle + "/plugin.ttl")
        << prefixes << "<urn:" << name << "> a lv2:Plugin ; doap:name \"" << name << "\" ;\n"
        << "  lv2:minorVersion 1 ; lv2:microVersion 2 ; doap:license <urn:free> ;\n"
        << "  doap:maintainer [ foaf:name \"The developers\" ; foaf:homepage <urn:home> ] ;\n"
        << "  rdfs:comment \"A plug-in for files of " << name << "\" .\n";
}

world_handle load_world(std::string const& dir) {
    setenv("LV2_PATH", dir.c_str(), 1);
    world_handle world(lilv_world_new());
    lilv_world_load_all(world.get());
    return world;
}

int load(std::string const& dir) {
    static world_handle const world = load_world(dir);
    LilvPlugins const* const plugins = lilv_world_get_all_plugins(world.get());
    int described = 0;
    LILV_FOREACH(plugins, i, plugins) {
        // lilv reads a plug-in's description only when a program asks for it.
        node_handle const title(lilv_plugin_get_name(lilv_plugins_get(plugins, i)));
        described += title ? 1 : 0;
    }
    return described;
}

void report_describe(int count) {
    bench::scratch_directory const scratch;
    auto const names = peer::names(count);
    for (std::string const& name : names) {
        write_bundle(scratch.path(), name);
    }
    world_handle const world = load_world(scratch.path());
    std::vector<node_handle> ids;
    for (std::string const& name : names) {
        ids.emplace_back(lilv_new_uri(world.get(), ("urn:" + name).c_str()));
    }
    LilvPlugins const* const plugins = lilv_world_get_all_plugins(world.get());
    peer::report("describe", count, count, [&] {
        for (node_handle const& id : ids) {
            node_handle const title(
                lilv_plugin_get_name(lilv_plugins_get_by_uri(plugins, id.get())));
        }
    });
}

}  // namespace

int main(int argc, char** argv) {
    peer::report_load(argc, argv, load, write_bundle);
    report_describe(1000);
}
