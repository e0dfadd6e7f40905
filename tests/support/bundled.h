// Creates objects of the bundled plug-ins from the build tree, and turns what their readers
// return into text that a test can compare whole.

#ifndef TESTS_SUPPORT_BUNDLED_H
#define TESTS_SUPPORT_BUNDLED_H

#include <stdexcept>
#include <string>

#include <kivcore/kivcore.h>

namespace support {

// An object of the plug-in with this key, from the plug-in directory of the same name.
template <typename Interface>
kivcore::instance<Interface> bundled(std::string const& type, std::string const& key) {
    morbase::ptr_refcount<kivcore::plugins> registry(new kivcore::plugins(""));
    registry->load_plugin(BUILT_PLUGIN_DIR "/" + key);
    auto made = kivcore::create<Interface>(registry, "io/" + type + "/" + key + "/kivcore/1.0");
    if (!made) {
        throw std::runtime_error("no bundled plug-in " + key);
    }
    return made;
}

// The text for a read that fails with this errno value.
inline std::string failure(int number) {
    return "!-" + std::to_string(number);
}

inline std::string take(kivcore::reader& from, std::size_t count) {
    std::string bytes(count, '\0');
    long long const got = from.read(bytes.data(), count);
    return got < 0 ? "!" + std::to_string(got) : bytes.substr(0, static_cast<std::size_t>(got));
}

// Everything up to the end, or up to a failure, whose text comes last. The default portion is a
// prime number, so it never divides a size evenly.
inline std::string take_all(kivcore::reader& from, std::size_t portion = 10007) {
    std::string all;
    std::string part(portion, '\0');
    long long got = 0;
    while ((got = from.read(part.data(), portion)) > 0) {
        all.append(part, 0, static_cast<std::size_t>(got));
    }
    return got < 0 ? all + "!" + std::to_string(got) : all;
}

}  // namespace support

#endif
