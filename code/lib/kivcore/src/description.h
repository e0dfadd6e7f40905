// The vocabulary of descriptions: the file name in errors about them, the keys that the registry
// and the factories look up, and the values that choose a plug-in's factory.

#ifndef KIVCORE_DESCRIPTION_H
#define KIVCORE_DESCRIPTION_H

#include <cstddef>
#include <initializer_list>

namespace kivcore {

// What morbase::es::base::file() returns for every error in a description. It is the same
// whichever source file raises the error.
constexpr char const* k_plugins_source = "code/lib/kivcore/src/plugins";

constexpr char const* k_path = "path";  // the plug-in directory
constexpr char const* k_id = "id";      // of the plugin element

constexpr char const* k_interface = "interface.";  // then the element
constexpr char const* k_category = "interface.category";
constexpr char const* k_type = "interface.type";
constexpr char const* k_keys = "interface.key";  // one or more, separated by "|"
constexpr char const* k_flavor = "interface.flavor";
constexpr char const* k_interface_version = "interface.version";
constexpr char const* k_bind = "interface.bind.";  // then the function

constexpr char const* k_info = "info.";  // then the element
constexpr char const* k_name = "info.name";
constexpr char const* k_version = "info.version";
constexpr char const* k_copyright = "info.copyright";
constexpr char const* k_description = "info.description";
constexpr char const* k_developer = "info.developer.";  // then the fact
constexpr char const* k_developer_name = "info.developer.name";
constexpr char const* k_developer_id = "info.developer.id";

// The elements besides facts, and the attribute of bind. The attribute of plugin is k_id.
constexpr char const* k_plugin_element = "plugin";
constexpr char const* k_interface_element = "interface";
constexpr char const* k_info_element = "info";
constexpr char const* k_bind_element = "bind";
constexpr char const* k_function = "function";
constexpr char const* k_developer_element = "developer";

// Elements that are skipped with all they contain.
constexpr std::initializer_list<char const*> k_skipped_elements = {"config", "input"};

// The keys of the facts: elements whose text is a value. The name of a fact's element is what
// follows the section's prefix.
constexpr std::initializer_list<char const*> k_interface_facts = {k_category, k_type, k_keys,
                                                                  k_flavor, k_interface_version};
constexpr std::initializer_list<char const*> k_info_facts = {k_name, k_version, k_copyright,
                                                             k_description};
constexpr std::initializer_list<char const*> k_developer_facts = {k_developer_name, k_developer_id};

// Flavors.
constexpr char const* k_native = "native";
constexpr char const* k_c_style = "c-style";

// The category and the types of plug-ins in C. Native plug-ins may have any.
constexpr char const* k_io = "io";
constexpr char const* k_read = "read";
constexpr char const* k_write = "write";

// Types that native plug-ins have besides.
constexpr std::initializer_list<char const*> k_native_types = {"browse", "monitor"};

// The functions that a plug-in binds. Reading and writing are called as the types are.
constexpr char const* k_create = "create";
constexpr char const* k_open = "open";
constexpr char const* k_close = "close";
constexpr char const* k_flush = "flush";
constexpr char const* k_seek = "seek";
constexpr char const* k_get_pos = "get_pos";
constexpr char const* k_set_pos = "set_pos";
constexpr char const* k_size = "size";

// Limits of one description.
constexpr std::size_t k_most_bytes = 16U << 20U;
constexpr std::size_t k_most_ids = 100000;
constexpr std::size_t k_most_bytes_of_ids = 6U << 20U;

}  // namespace kivcore

#endif
