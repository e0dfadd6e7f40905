// The vocabulary of descriptions: the file name in errors about them, the keys that the registry
// and the factories look up, and the values that choose a plug-in's factory.

#ifndef KIVCORE_DESCRIPTION_H
#define KIVCORE_DESCRIPTION_H

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
constexpr char const* k_developer_id = "info.developer.id";

// Flavors.
constexpr char const* k_native = "native";
constexpr char const* k_c_style = "c-style";

// The category and the types of plug-ins in C.
constexpr char const* k_io = "io";
constexpr char const* k_read = "read";
constexpr char const* k_write = "write";

}  // namespace kivcore

#endif
