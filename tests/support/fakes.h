// Descriptions, factories and objects for a registry, made by the test itself, and the text of
// description files.

#ifndef TESTS_SUPPORT_FAKES_H
#define TESTS_SUPPORT_FAKES_H

#include <functional>
#include <map>
#include <string>
#include <utility>

#include <kivcore/kivcore.h>

namespace support {

using keys_and_values = std::map<std::string, std::string>;
using registry_ptr = morbase::ptr_refcount<kivcore::plugins>;
using factory_ptr = morbase::ptr_refcount<kivcore::plugins::factory>;
using info_ptr = morbase::ptr_refcount<kivcore::plugins::info>;

inline info_ptr described(keys_and_values values) {
    auto* const description = new kivcore::__info;
    description->values = std::move(values);
    return description;
}

// The description whose id is io/read/<key>/tests/1.0.
inline info_ptr described_as(std::string const& flavor, std::string const& key) {
    return described({{"interface.category", "io"},
                      {"interface.type", "read"},
                      {"interface.key", key},
                      {"interface.flavor", flavor},
                      {"info.developer.id", "tests"},
                      {"info.version", "1.0"}});
}

// An empty reader that calls at_the_end when it is destroyed.
class fake_reader final : public kivcore::reader {
  public:
    explicit fake_reader(std::function<void()> at_the_end = {}) : farewell(std::move(at_the_end)) {}
    ~fake_reader() override {
        if (farewell) {
            farewell();
        }
    }

    int open(std::string const& /*path*/, std::string const& /*mode*/) override { return 0; }
    int close() override { return 0; }
    long long read(void* /*buffer*/, unsigned long long /*count*/) override { return 0; }
    long long seek(long long /*offset*/, morbase::whence /*origin*/) override { return 0; }

  private:
    std::function<void()> farewell;
};

// A factory that creates objects with maker and calls at_the_end when it is destroyed.
class fake_factory final : public kivcore::plugins::factory {
  public:
    explicit fake_factory(
        std::function<kivcore::plugin*()> maker = [] { return new fake_reader; },
        std::function<void()> at_the_end = {})
        : make(std::move(maker)), farewell(std::move(at_the_end)) {}
    ~fake_factory() override {
        if (farewell) {
            farewell();
        }
    }

    morbase::ptr_refcount<kivcore::plugin> create() override { return make(); }

  private:
    std::function<kivcore::plugin*()> make;
    std::function<void()> farewell;
};

// The text of a plugin element whose id is io/<type>/<key>/tests/1.0.
inline std::string plugin_element(std::string const& flavor, std::string const& type,
                                  std::string const& key, keys_and_values const& bindings) {
    std::string text = "<plugin><interface><category>io</category><type>" + type + "</type><key>" +
                       key + "</key><flavor>" + flavor + "</flavor>";
    for (auto const& [function, symbol] : bindings) {
        text += "<bind function='" + function + "'>" + symbol + "</bind>";
    }
    return text +
           "</interface><info><version>1.0</version><developer><name>Tests</name><id>tests</id>"
           "</developer></info></plugin>";
}

// The bindings of the plug-in `memory` for a reader with a seek function.
inline keys_and_values const k_memory_reader = {{"open", "memory_open"},
                                                {"close", "memory_close"},
                                                {"read", "memory_read"},
                                                {"seek", "memory_seek"},
                                                {"size", "memory_size"}};

// A description of the plug-in `memory` whose id is id_of(key).
inline std::string reader_element(std::string const& key) {
    return plugin_element("c-style", "read", key, k_memory_reader);
}

inline std::string id_of(std::string const& key) {
    return "io/read/" + key + "/tests/1.0";
}

// The message for a plug-in directory whose description cannot be opened.
inline std::string cannot_open(std::string const& directory) {
    return "failed to load plugin: Could not create xml reader for \"" + directory +
           "/plugin.xml\"\n";
}

// A shared object of tests/fixtures.
inline std::string built_object(std::string const& name) {
    return TEST_PLUGIN_DIR "/" + name + "/darwin/x86/plugin.so";
}

}  // namespace support

#endif
