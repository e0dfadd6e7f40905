#include <stdexcept>

#include <gtest/gtest.h>

#include <morbase/es.h>
#include <support/capture.h>
#include <support/fakes.h>

namespace {

using support::built_object;
using support::described;
using support::factory_ptr;
using support::info_ptr;
using support::keys_and_values;

using loader_ptr = morbase::ptr_refcount<kivcore::loader>;
using plugin_ptr = morbase::ptr_refcount<kivcore::plugin>;

// Calls something that may raise es::null and gives its message; empty when it did not.
template <typename action>
std::string refusal(action const& act) {
    try {
        act();
    } catch (morbase::es::null const& error) {
        EXPECT_STREQ(error.file(), "code/lib/kivcore/src/factory");
        return error.what();
    }
    return "";
}

info_ptr native(std::string const& create) {
    return described({{"interface.flavor", "native"}, {"interface.bind.create", create}});
}

// A C-style description; the bindings are those of the plug-in `memory`, changed by others.
info_ptr c_style(std::string const& type, keys_and_values const& changes) {
    keys_and_values keys{
        {"interface.flavor", "c-style"}, {"interface.category", "io"}, {"interface.type", type}};
    for (char const* function :
         {"open", "close", "read", "write", "flush", "seek", "get_pos", "set_pos", "size"}) {
        keys["interface.bind." + std::string(function)] = "memory_" + std::string(function);
    }
    for (auto const& [function, symbol] : changes) {
        keys["interface.bind." + function] = symbol;
    }
    return described(keys);
}

template <typename expected>
bool makes(info_ptr const& description) {
    loader_ptr const nowhere(new kivcore::loader("/nowhere"));
    factory_ptr const maker = kivcore::create_factory(nowhere, description);
    return dynamic_cast<expected const*>(maker.get()) != nullptr;
}

TEST(factory_selection, goes_by_flavor_and_then_by_category_and_type) {
    EXPECT_TRUE(makes<kivcore::factory_native>(native("create")));
    EXPECT_TRUE(makes<kivcore::factory_native>(described({{"interface.flavor", "native"},
                                                          {"interface.category", "io"},
                                                          {"interface.type", "read"},
                                                          {"interface.bind.create", "f"}})));
    EXPECT_TRUE(makes<kivcore::factory_c_file_read>(c_style("read", {})));
    EXPECT_TRUE(makes<kivcore::factory_c_file_write>(c_style("write", {})));
}

TEST(factory_selection, gives_nothing_and_says_nothing_for_what_it_does_not_know) {
    keys_and_values const unknown[] = {
        {},
        {{"interface.category", "io"}, {"interface.type", "read"}},
        {{"interface.flavor", "Native"}},
        {{"interface.flavor", "native "}},
        {{"interface.flavor", "c-style"}, {"interface.type", "read"}},
        {{"interface.flavor", "c-style"}, {"interface.category", "IO"}, {"interface.type", "read"}},
        {{"interface.flavor", "c-style"}, {"interface.category", "io"}},
        {{"interface.flavor", "c-style"},
         {"interface.category", "io"},
         {"interface.type", "browse"}},
        {{"interface.flavor", "c-style"},
         {"interface.category", "io"},
         {"interface.type", "monitor"}},
    };
    loader_ptr const nowhere(new kivcore::loader("/nowhere"));
    support::captured_output output;
    for (auto const& keys : unknown) {
        EXPECT_FALSE(kivcore::create_factory(nowhere, described(keys)));
    }
    EXPECT_EQ(output.out.text() + output.err.text(), "");
}

TEST(factory, a_description_must_name_every_function_that_is_needed) {
    loader_ptr const nowhere(new kivcore::loader("/nowhere"));
    struct {
        info_ptr description;
        char const* message;
    } const cases[] = {
        {native(""), "no binding for create function"},
        {described({{"interface.flavor", "native"}}), "no binding for create function"},
        {c_style("read", {{"open", ""}, {"close", ""}}), "no binding for open function"},
        {c_style("read", {{"close", ""}, {"read", ""}}), "no binding for close function"},
        {c_style("read", {{"read", ""}, {"seek", ""}}), "no binding for read function"},
        {c_style("read", {{"seek", ""}, {"get_pos", ""}, {"set_pos", ""}, {"size", ""}}),
         "no binding for seek or get_pos function"},
        {c_style("read", {{"seek", ""}, {"set_pos", ""}, {"size", ""}}),
         "no binding for seek or set_pos function"},
        {c_style("read", {{"size", ""}}), "no binding for size function"},
        {c_style("read", {{"write", ""}, {"flush", ""}}), ""},
        {c_style("read", {{"seek", ""}}), ""},
        {c_style("read", {{"get_pos", ""}}), ""},
        {c_style("read", {{"get_pos", ""}, {"set_pos", ""}}), ""},
        {c_style("write", {{"open", ""}}), "no binding for open function"},
        {c_style("write", {{"close", ""}}), "no binding for close function"},
        {c_style("write", {{"write", ""}, {"flush", ""}}), "no binding for write function"},
        {c_style("write", {{"flush", ""}, {"seek", ""}}), "no binding for flush function"},
        {c_style("write", {{"seek", ""}, {"get_pos", ""}, {"size", ""}}),
         "no binding for seek or get_pos function"},
        {c_style("write", {{"seek", ""}, {"set_pos", ""}, {"size", ""}}),
         "no binding for seek or set_pos function"},
        {c_style("write", {{"size", ""}}), "no binding for size function"},
        {c_style("write", {{"read", ""}}), ""},
    };
    for (auto const& [description, message] : cases) {
        EXPECT_EQ(refusal([&, &d = description] { kivcore::create_factory(nowhere, d); }), message);
    }
}

// What the first two creations say: the second must meet the same refusal.
std::string creation_refusal(std::string const& object, info_ptr const& description) {
    loader_ptr const image(new kivcore::loader(built_object(object)));
    factory_ptr const maker = kivcore::create_factory(image, description);
    std::string first = refusal([&] { maker->create(); });
    EXPECT_EQ(refusal([&] { maker->create(); }), first);
    return first;
}

TEST(factory, a_missing_function_fails_on_every_create) {
    EXPECT_EQ(creation_refusal("native", native("absent")),
              "couldn't find create function in binary image");
    EXPECT_EQ(creation_refusal("native", native("native_create")), "");

    std::string const missing = " in binary image";
    struct {
        keys_and_values changes;
        std::string message;
    } const both[] = {
        {{}, ""},
        {{{"open", "absent"}, {"close", "absent"}}, "couldn't find open function" + missing},
        {{{"close", "absent"}, {"seek", "absent"}}, "couldn't find close function" + missing},
        {{{"seek", "absent"}, {"size", "absent"}}, "couldn't find seek function" + missing},
        {{{"seek", ""}, {"get_pos", "absent"}, {"set_pos", "absent"}},
         "couldn't find get_pos or seek functions" + missing},
        {{{"seek", ""}, {"set_pos", "absent"}, {"size", "absent"}},
         "couldn't find set_pos or seek functions" + missing},
        {{{"get_pos", "absent"}, {"set_pos", "absent"}}, ""},
        {{{"size", "absent"}}, "couldn't find size function" + missing},
    };
    for (auto const& [changes, message] : both) {
        EXPECT_EQ(creation_refusal("memory", c_style("read", changes)), message);
        EXPECT_EQ(creation_refusal("memory", c_style("write", changes)), message);
    }
    EXPECT_EQ(creation_refusal("memory", c_style("read", {{"read", "absent"}})),
              "couldn't find read function in binary image");
    EXPECT_EQ(creation_refusal("memory", c_style("write", {{"write", "absent"}})),
              "couldn't find write function in binary image");
    EXPECT_EQ(creation_refusal("memory", c_style("write", {{"flush", "absent"}})),
              "couldn't find flush function in binary image");
}

TEST(factory, a_shared_object_is_missed_by_create_and_not_before) {
    loader_ptr const nowhere(new kivcore::loader("/nowhere/plugin.so"));
    for (info_ptr const& description : {native("f"), c_style("read", {}), c_style("write", {})}) {
        factory_ptr const maker = kivcore::create_factory(nowhere, description);
        ASSERT_TRUE(maker);
        EXPECT_THROW(maker->create(), morbase::es::call);
        EXPECT_THROW(maker->create(), morbase::es::call);
    }
}

TEST(native_factory, makes_a_new_object_for_each_call) {
    loader_ptr const image(new kivcore::loader(built_object("native")));
    factory_ptr const maker = kivcore::create_factory(image, native("native_create"));
    plugin_ptr const first = maker->create();
    plugin_ptr const second = maker->create();
    ASSERT_TRUE(first);
    EXPECT_NE(first, second);
    EXPECT_EQ(first->kind(), kivcore::plugin::k_kind_reader);

    auto* const text = dynamic_cast<kivcore::reader*>(second.get());
    ASSERT_NE(text, nullptr);
    char bytes[32] = "";
    EXPECT_EQ(text->read(bytes, sizeof bytes), 11);
    EXPECT_STREQ(bytes, "native text");
    EXPECT_EQ(text->tell(), 11);
}

TEST(native_factory, passes_on_nothing_and_what_is_thrown) {
    loader_ptr const image(new kivcore::loader(built_object("native")));
    factory_ptr const idle = kivcore::create_factory(image, native("native_create_nothing"));
    factory_ptr const broken = kivcore::create_factory(image, native("native_create_throwing"));
    for (int round = 0; round < 2; ++round) {
        EXPECT_FALSE(idle->create());
        try {
            broken->create();
            ADD_FAILURE() << "nothing was thrown";
        } catch (std::runtime_error const& error) {
            EXPECT_STREQ(error.what(), "the device is busy");
        }
    }
}

}  // namespace
