// The bundled plug-ins, out of the directories that the build made, and what their readers
// give, as text that an expectation can name whole.

#ifndef TESTS_SUPPORT_BUNDLED_H
#define TESTS_SUPPORT_BUNDLED_H

#include <stdexcept>
#include <string>

#include <kivcore/kivcore.h>

namespace support {

// What the plug-in with this key makes, which has the directory of the same name.
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

// What stands for a read that fails with this errno value.
inline std::string failure(int number) {
    return "!-" + std::to_string(number);
}

inline std::string take(kivcore::reader& from, std::size_t count) {
    std::string bytes(count, '\0');
    long long const got = from.read(bytes.data(), count);
    return got < 0 ? "!" + std::to_string(got) : bytes.substr(0, static_cast<std::size_t>(got));
}

// Everything up to the end, or up to a failure, which stands last then. The size of the
// portions divides nothing evenly.
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
