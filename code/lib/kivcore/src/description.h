// The vocabulary of descriptions: their source in errors, the keys that the registry and the
// factories ask for, and the values that decide what serves a plug-in.

#ifndef KIVCORE_DESCRIPTION_H
#define KIVCORE_DESCRIPTION_H

namespace kivcore {

// The file of every error about a description, as morbase::es::base::file() names it: reading
// descriptions belongs to plugins, whatever sources it is in.
constexpr char const* k_plugins_source = "code/lib/kivcore/src/plugins";

constexpr char const* k_path = "path";  // the plug-in directory
constexpr char const* k_id = "id";      // of the plugin element

constexpr char const* k_interface = "interface.";  // then the element
constexpr char const* k_category = "interface.category";
constexpr char const* k_type = "interface.type";
constexpr char const* k_keys = "interface.key";  // one or more, between "|"
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
