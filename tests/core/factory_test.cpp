#include <stdexcept>
#include <typeinfo>

#include <gtest/gtest.h>

#include <morbase/es.h>
#include <support/capture.h>
#include <support/fakes.h>

namespace {

using support::built_object;
using support::described;
using support::factory_ptr;
using support::keys_and_values;

using loader_ptr = morbase::ptr_refcount<kivcore::loader>;
using plugin_ptr = morbase::ptr_refcount<kivcore::plugin>;

keys_and_values native(std::string const& create) {
    return {{"interface.flavor", "native"}, {"interface.bind.create", create}};
}

// A C-style description with the bindings of the plug-in `memory`, modified by changes.
keys_and_values c_style(std::string const& type, keys_and_values const& changes) {
    keys_and_values keys{
        {"interface.flavor", "c-style"}, {"interface.category", "io"}, {"interface.type", type}};
    for (char const* function :
         {"open", "close", "read", "write", "flush", "seek", "get_pos", "set_pos", "size"}) {
        keys["interface.bind." + std::string(function)] = "memory_" + std::string(function);
    }
    for (auto const& [function, symbol] : changes) {
        keys["interface.bind." + function] = symbol;
    }
    return keys;
}

std::string class_made(keys_and_values const& keys) {
    loader_ptr const nowhere(new kivcore::loader("/nowhere"));
    factory_ptr const maker = kivcore::create_factory(nowhere, described(keys));
    auto const* const made = maker.get();
    return made != nullptr ? typeid(*made).name() : "none";
}

TEST(factory_selection, uses_the_flavor_and_then_the_category_and_type) {
    char const* const native = typeid(kivcore::factory_native).name();
    char const* const table[][4] = {
        {"native", "", "", native},
        {"native", "io", "read", native},
        {"c-style", "io", "read", typeid(kivcore::factory_c_file_read).name()},
        {"c-style", "io", "write", typeid(kivcore::factory_c_file_write).name()},
        {"", "io", "read", "none"},
        {"Native", "", "", "none"},
        {"native ", "", "", "none"},
        {"c-style", "", "read", "none"},
        {"c-style", "IO", "read", "none"},
        {"c-style", "io", "", "none"},
        {"c-style", "io", "browse", "none"}};
    support::captured_output output;
    for (auto const& [flavor, category, type, made] : table) {
        auto keys = c_style(type, {{"create", "f"}});
        keys["interface.flavor"] = flavor;
        keys["interface.category"] = category;
        EXPECT_EQ(class_made(keys), made) << flavor << ", " << category << ", " << type;
    }
    EXPECT_EQ(class_made({}), "none");
    EXPECT_EQ(output.out.text() + output.err.text(), "");
}

// Why the factory cannot be made or creates nothing. A second attempt must fail for the same
// reason.
std::string refusal(std::string const& object, keys_and_values const& keys) {
    loader_ptr const image(new kivcore::loader(built_object(object)));
    factory_ptr maker;
    std::string reasons[2];
    for (std::string& reason : reasons) {
        try {
            maker = maker ? maker : kivcore::create_factory(image, described(keys));
            maker->create();
        } catch (morbase::es::null const& error) {
            EXPECT_STREQ(error.file(), "code/lib/kivcore/src/factory");
            reason = error.what();
        }
    }
    EXPECT_EQ(reasons[0], reasons[1]);
    return reasons[0];
}

TEST(factory, every_required_function_must_be_named_and_exported) {
    std::string const unnamed = "no binding for ";
    std::string const missing = "couldn't find ";
    struct {
        std::string types;
        keys_and_values changes;
        std::string message;
    } const table[] = {
        {"read write", {}, ""},
        {"read write", {{"seek", ""}}, ""},
        {"read write", {{"get_pos", ""}}, ""},
        {"read write", {{"get_pos", "absent"}, {"set_pos", ""}}, ""},
        {"read", {{"write", ""}, {"flush", ""}}, ""},
        {"write", {{"read", ""}}, ""},
        {"read write", {{"open", ""}, {"close", ""}}, unnamed + "open function"},
        {"read write", {{"close", ""}, {"read", ""}, {"write", ""}}, unnamed + "close function"},
        {"read", {{"read", ""}, {"seek", ""}, {"get_pos", ""}}, unnamed + "read function"},
        {"write", {{"write", ""}, {"flush", ""}}, unnamed + "write function"},
        {"write", {{"flush", ""}, {"seek", ""}, {"get_pos", ""}}, unnamed + "flush function"},
        {"read write",
         {{"seek", ""}, {"get_pos", ""}, {"set_pos", ""}, {"size", ""}},
         unnamed + "seek or get_pos function"},
        {"read write",
         {{"seek", ""}, {"set_pos", ""}, {"size", ""}},
         unnamed + "seek or set_pos function"},
        {"read write", {{"size", ""}, {"open", "absent"}}, unnamed + "size function"},
        {"read write", {{"open", "absent"}, {"close", "absent"}}, missing + "open function"},
        {"read write", {{"close", "absent"}, {"seek", "absent"}}, missing + "close function"},
        {"read", {{"read", "absent"}}, missing + "read function"},
        {"write", {{"write", "absent"}}, missing + "write function"},
        {"write", {{"flush", "absent"}}, missing + "flush function"},
        {"read write", {{"seek", "absent"}, {"size", "absent"}}, missing + "seek function"},
        {"read write",
         {{"seek", ""}, {"get_pos", "absent"}, {"set_pos", "absent"}},
         missing + "get_pos or seek functions"},
        {"read write",
         {{"seek", ""}, {"set_pos", "absent"}, {"size", "absent"}},
         missing + "set_pos or seek functions"},
        {"read write", {{"size", "absent"}}, missing + "size function"},
    };
    for (auto const& [types, changes, message] : table) {
        std::string const where = message.rfind(missing, 0) == 0 ? " in binary image" : "";
        for (char const* type : {"read", "write"}) {
            if (types.find(type) != std::string::npos) {
                EXPECT_EQ(refusal("memory", c_style(type, changes)), message + where) << type;
            }
        }
    }
    EXPECT_EQ(refusal("native", native("")), "no binding for create function");
    EXPECT_EQ(refusal("native", native("absent")), "couldn't find create function in binary image");
}

TEST(native_factory, passes_on_what_each_call_returns_or_throws) {
    loader_ptr const image(new kivcore::loader(built_object("native")));
    auto const factory = [&](char const* create) {
        return kivcore::create_factory(image, described(native(create)));
    };
    factory_ptr const maker = factory("native_create");
    plugin_ptr const first = maker->create();
    plugin_ptr const second = maker->create();
    EXPECT_NE(dynamic_cast<kivcore::reader*>(first.get()), nullptr);
    EXPECT_NE(first, second);
    EXPECT_FALSE(factory("native_create_nothing")->create());
    try {
        factory("native_create_throwing")->create();
        ADD_FAILURE() << "nothing was thrown";
    } catch (std::runtime_error const& error) {
        EXPECT_STREQ(error.what(), "the device is busy");
    }
}

}  // namespace
