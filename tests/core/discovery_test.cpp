#include <iconv.h>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include <morbase/es.h>
#include <support/capture.h>
#include <support/fakes.h>
#include <support/files.h>

namespace {

namespace fs = std::filesystem;

using support::id_of;
using support::plugin_element;
using support::reader_element;
using strings = std::vector<std::string>;

class discovery : public testing::Test {
  protected:
    // Calls act and keeps the output.
    template <typename action>
    auto captured(action const& act) {
        support::captured_output output;
        auto const result = act();
        out = output.out.text();
        err = output.err.text();
        return result;
    }

    bool load(std::string const& name) {
        return captured([&] { return plugins.load_plugin(files.path(name)); });
    }

    int scan(std::string const& name = "") {
        return captured([&] { return plugins.load_plugins(files.path(name)); });
    }

    // Writes the description of the plug-in directory `name`.
    void describe(std::string const& name, std::string const& xml) {
        files.write(name + "/plugin.xml", xml);
    }

    std::string cannot_open(std::string const& name) const {
        return support::cannot_open(files.path(name));
    }

    support::temporary_directory files;
    kivcore::plugins plugins{"/nowhere"};
    std::string out;  // output of the last load
    std::string err;
};

TEST_F(discovery, broken_xml_is_reported_with_the_xml_librarys_message_and_not_loaded) {
    std::string const good = reader_element("k");
    std::string const surplus = "Extra content at the end of the document";
    std::pair<std::string, std::string> const faults[] = {
        {"", surplus},
        {good + good, surplus},
        {"plugin", "Document is empty"},
        {"<bundle>" + std::string(8192, ' ') + good + "</plugin>",
         "Opening and ending tag mismatch: bundle line 1 and plugin"},
        {"<?xml version='1.0' encoding='UTF-8'?><bundle>\xff\xfe</bundle>",
         "Input is not proper UTF-8, indicate encoding !\nBytes: 0xFF 0xFE 0x3C 0x2F"},
    };
    for (auto const& [xml, message] : faults) {
        describe("broken", xml);
        EXPECT_FALSE(load("broken")) << xml;
        EXPECT_EQ(err, "failed to load plugin: Parser error: \"" + message + "\n\"\n") << xml;
        EXPECT_EQ(out, "(readxml_base) error func called with msg: " + message + "\n\nsev: 4\n");
    }
    describe("healthy", reader_element("healthy"));
    EXPECT_TRUE(load("healthy"));
    EXPECT_EQ(out + err, "");
}

TEST_F(discovery, a_description_that_is_truncated_anywhere_registers_nothing) {
    std::string const good = reader_element("k");
    for (std::size_t length = 0; length < good.size(); ++length) {
        describe("cut", good.substr(0, length));
        EXPECT_FALSE(load("cut")) << length;
        EXPECT_EQ(err.substr(0, 37), "failed to load plugin: Parser error: ") << length;
    }
    EXPECT_TRUE(plugins.find_plugins(".*").empty());
}

TEST_F(discovery, a_fault_is_reported_and_earlier_plugins_stay_registered) {
    std::pair<std::string, std::string> const faults[] = {
        {"<plugin><interface><bind>f</bind></interface></plugin>",
         "xml parse: failed to read 'function' attribute of 'bind'"},
        {plugin_element("native", "read", "k", {}), "no binding for create function"},
        {plugin_element("c-style", "read", "k", {}), "no binding for open function"},
    };
    std::string key = "a";
    strings ids;
    for (auto const& [xml, reason] : faults) {
        describe("half",
                 "<bundle>" + reader_element(key) + xml + reader_element("last") + "</bundle>");
        EXPECT_FALSE(load("half"));
        EXPECT_EQ(err, "failed to load plugin: " + reason + "\n");
        EXPECT_EQ(out, "");
        ids.push_back(id_of(key));
        EXPECT_EQ(plugins.find_plugins(".*"), ids);
        key += "a";
    }
}

TEST_F(discovery, a_description_that_cannot_be_opened_is_refused_at_once) {
    fs::create_directories(files.path("missing"));
    fs::create_directories(files.path("directory/plugin.xml"));
    fs::create_directories(files.path("fifo"));
    ASSERT_EQ(mkfifo(files.path("fifo/plugin.xml").c_str(), 0600), 0);
    std::pair<char const*, char const*> const links[] = {{"link to a fifo", "../fifo/plugin.xml"},
                                                         {"device", "/dev/null"},
                                                         {"endless device", "/dev/zero"},
                                                         {"dangling", "nowhere"},
                                                         {"loop", "plugin.xml"}};
    for (auto const& [name, target] : links) {
        fs::create_directories(files.path(name));
        fs::create_symlink(target, files.path(name) + "/plugin.xml");
    }
    describe("good one", reader_element("k"));  // "good%20one" is another directory
    fs::create_directories(files.path("good%20one"));
    for (char const* name :
         {"missing", "directory", "fifo", "link to a fifo", "device", "endless device", "dangling",
          "loop", "not even a directory", "good%20one", "missing/%2e%2e/good one"}) {
        EXPECT_FALSE(load(name)) << name;
        EXPECT_EQ(err, cannot_open(name));
        EXPECT_EQ(out, "") << name;
    }
}

// The concatenated results of make for the numbers below count.
std::string row(int count, std::function<std::string(int)> const& make) {
    std::string whole;
    for (int i = 0; i < count; ++i) {
        whole += make(i);
    }
    return whole;
}

std::string attribute(int i) {
    return " a" + std::to_string(i) + "=''";
}

std::string encoded(char const* encoding, std::string text) {
    iconv_t converter = iconv_open(encoding, "UTF-8");
    std::string out(text.size() * 4, '\0');
    char* from = text.data();
    char* to = out.data();
    std::size_t left = text.size();
    std::size_t room = out.size();
    iconv(converter, &from, &left, &to, &room);
    iconv(converter, nullptr, nullptr, &to, &room);
    iconv_close(converter);
    out.resize(out.size() - room);
    return out;
}

// The document in the encoding that its declaration names.
std::string declared(std::string const& encoding, std::string const& xml) {
    return encoded(encoding.c_str(),
                   "<?xml version='1.0' encoding = '" + encoding + "' standalone='yes'?>" + xml);
}

// A description whose document type has this content.
std::string subset(std::string const& markup) {
    return "<!DOCTYPE a [<!-- -->" + markup + "]>" + reader_element("k");
}

std::string attlist(int i) {
    return "<!ATTLIST a a" + std::to_string(i) + " CDATA ''>";
}

TEST_F(discovery, a_description_that_would_take_long_or_much_memory_is_refused) {
    auto const tag = [](int attributes) { return "<a" + row(attributes, attribute) + "/>"; };
    auto const doubled = [](int i) {
        std::string const half = "&#37;e" + std::to_string(i) + ";";
        return "<!ENTITY % e" + std::to_string(i + 1) + " '" + half + half + "'>";
    };
    std::string const entity = "<!ENTITY e '" + std::string(20000, 'e') + "'>";
    std::string const expanded =
        "<!DOCTYPE a [" + entity + "]><a b='" + row(300, [](int) { return "&e;"; }) + "'/>";
    std::string twice = "\xfe\xff";
    for (char const c : encoded("UTF-16LE", "<?xml version='1.0'?><a/>")) {
        twice += {'\0', c};
    }
    std::string const piece =
        "line 1: a tag, CDATA section, internal subset or processing instruction is longer than "
        "32768 bytes, or a comment is longer than 2097152 bytes";
    std::string const spelled = R"(an entity writes a reference with "&#38;": use "&")";
    std::string const entities = "the references to entities expand to more than 4194304 bytes";
    std::tuple<char const*, std::string, std::string> const table[] = {
        {"attributes", tag(100000), piece},
        {"attributes in UTF-16", encoded("UTF-16", tag(100000)), piece},
        {"attributes in ISO-8859-1", declared("ISO-8859-1", tag(100000)), piece},
        {"declared attributes", subset(row(40000, attlist)), piece},
        {"a long entity", expanded, entities},
        {"a long entity in UTF-7",
         "<?xml version='1.0' encoding='UTF-7'?>" + encoded("UTF-7", expanded), entities},
        {"a long entity in EBCDIC", declared("IBM037", expanded), entities},
        {"entities within entities",
         "<!DOCTYPE a [" + entity + "<!ENTITY f '" + row(300, [](int) { return "&e;"; }) +
             "'>]><a b='&f;'/>",
         entities},
        {"an entity that is spelled", subset(entity + "<!ENTITY f '&#38;e;'>") + "&f;", spelled},
        {"an entity that is spelled in hexadecimal",
         subset(entity + R"(<!ENTITY f "&#x026;e;">)") + "&f;", spelled},
        {"parameter entities", subset("<!ENTITY % e0 ''>" + row(40, doubled) + "%e40;"),
         "a document with parameter entities may have 4 references to them and 8 to other "
         "entities: this one has more"},
        {"an entity that stands for itself in a comment",
         "<!DOCTYPE a [<!-- <!ENTITY e '&f;'> -->" + entity +
             "<!ENTITY f '&e;&e;'>]><a b='&f;&f;&f;'/>",
         entities},
        {"a declared prefix", subset("<!ATTLIST a p:b CDATA ''>"),
         "the document type declares a namespace, or an attribute with a prefix"},
        {"a comment of over 2 MiB", "<a><!--" + std::string(9 << 18, 'c') + "--></a>", piece},
        {"a document encoded twice", twice,
         "the document is encoded twice, the second time in UTF-16BE"},
    };
    for (auto const& [name, xml, reason] : table) {
        describe("hostile", xml);
        EXPECT_FALSE(load("hostile")) << name;
        EXPECT_EQ(err, "failed to load plugin: " + reason + "\n") << name;
        EXPECT_EQ(out, "") << name;
    }
}

TEST_F(discovery, a_description_exactly_at_a_bound_loads_and_one_more_is_refused) {
    auto const repeated = [](int count, std::string const& text) {
        return row(count, [&](int) { return text; });
    };
    auto const in_root = [](std::string const& content) { return "<a>" + content + "</a>"; };
    auto const referring = [&](std::string const& type) {
        return [=](int n) {
            return "<!DOCTYPE a [<!ATTLIST a r " + type + " #IMPLIED>]>" +
                   in_root(repeated(n, "<a r='i'/>"));
        };
    };
    auto const characters = [](int count, char each) {
        return std::string(static_cast<std::size_t>(count), each);
    };
    char const* const numbers[] = {"&#37;", "&#x25;", "&#38;", "&#x26;"};
    std::string const ids =
        "the description has more than 100000 ids, or they take more than 6291456 bytes";
    std::string const references_to_ids =
        "the document has more than 5000 attributes, the limit if some refer to ids";
    std::string const beside_parameters =
        "a document with parameter entities may have 4 references to them and 8 to other "
        "entities: this one has more";
    struct {
        char const* name;
        int most;
        std::function<std::string(int)> make;
        std::string reason;
    } const table[] = {
        {"bytes", 16 << 20, [&](int n) { return "<a/>" + characters(n - 4, ' '); },
         "the description \"" + files.path("bound/plugin.xml") +
             "\" is larger than the limit of 16777216 bytes"},
        {"ids", 100000, [&](int n) { return reader_element(characters(n - 1, '|')); }, ids},
        {"bytes of two ids", 6 << 20,
         [&](int n) {
             auto const around_keys = static_cast<int>(2 * id_of("").size());
             return reader_element("|" + characters(n - around_keys - 1, 'k'));
         },
         ids},
        {"attributes around an element", 1024,
         [](int n) {
             return "<a" + row(n - 24, attribute) + "><b" + row(24, attribute) + "/></a>";
         },
         "an element and its ancestors have more than 1024 attributes in total"},
        {"attributes of all elements", 500000,
         [&](int n) {
             return in_root(repeated(n / 10, "<a" + row(10, attribute) + "/>") +
                            repeated(n % 10, "<b c=''/>"));
         },
         "the document has more than 500000 attributes"},
        {"references to an id", 5000, referring("IDREF"), references_to_ids},
        {"references to ids", 5000, referring("IDREFS"), references_to_ids},
        {"attributes of a type", 64, [](int n) { return subset(row(n, attlist)); },
         "the document type declares more than 64 attributes"},
        {"elements and instructions", 500000,
         [&](int n) {
             return in_root(repeated(n / 2 - 1, "<b/><?p?>") + repeated(n % 2 + 1, "<b/>"));
         },
         "the document has more than 500000 elements and processing instructions"},
        {"bytes of declared entities", 40 << 10,
         [&](int n) {
             return "<!DOCTYPE a>" +
                    in_root("<!-- <!ENTITY e '" + characters(n - 2, 'e') + "'> -->");
         },
         "the entity declarations take more than 40960 bytes"},
        {"references, 32 bytes each", (4 << 20) / 32,
         [&](int n) {  // the blanks keep the XML library's own limit away
             return "<!DOCTYPE a [<!ENTITY e ''>]>" + in_root(repeated(n, "&e;         "));
         },
         "the references to entities expand to more than 4194304 bytes"},
        {"references to parameter entities", 4,
         [&](int n) { return subset("<!ENTITY % p ''>" + repeated(n, "%p;")); }, beside_parameters},
        {"their numbers", 4,
         [&](int n) {
             return subset("<!ENTITY % p '" + row(n, [&](int i) { return numbers[i % 4]; }) + "'>");
         },
         beside_parameters},
        {"references beside them", 8,
         [&](int n) {
             return "<!DOCTYPE a [<!ENTITY e ''><!ENTITY % p ''>]>" + in_root(repeated(n, "&e;"));
         },
         beside_parameters},
    };
    for (auto const& [name, most, make, reason] : table) {
        describe("bound", make(most));
        EXPECT_TRUE(load("bound")) << name << ": " << err;
        describe("bound", make(most + 1));
        EXPECT_FALSE(load("bound")) << name;
        EXPECT_EQ(err, "failed to load plugin: " + reason + "\n") << name;
        EXPECT_EQ(out, "") << name;
    }
}

TEST_F(discovery, a_large_description_within_the_bounds_loads) {
    std::string const filler(1 << 20, 'x');
    auto const keys = row(20000, [](int i) { return "|k" + std::to_string(i); });
    std::pair<char const*, std::string> const table[] = {
        {"attributes side by side",
         "<a><b" + row(1000, attribute) + "/><c><d" + row(30, attribute) + "/></c></a>"},
        {"a text", "<a>" + filler + "</a>"},
        {"a text in UTF-16", encoded("UTF-16", "<a>" + filler + "</a>")},
        {"a comment first", "<!--" + filler + "--><a/>"},
        {"a comment in UTF-16", encoded("UTF-16", "<a><!--" + filler + "--></a>")},
        {"entities", "<!DOCTYPE a [<!ENTITY m 'maker'><!ENTITY a 'AT&#38;#38;T &m;'>]><a>" +
                         row(20000, [](int) { return "&a;"; }) + "</a>"},
        {"parameter entities", "<!DOCTYPE a [<!ENTITY % m '<!ENTITY n \"n\">'>%m;]><a b='&n;'/>"},
        {"other uses of % and & beside parameter entities",
         "<!DOCTYPE a [<!ENTITY % m ''>]><a><!--" + row(9, [](int) { return "%m 5%;&lt &;"; }) +
             "-->" + row(9, [](int) { return "&lt;&gt;&amp;&quot;&apos;&#65;"; }) + "</a>"},
        {"attributes that do not refer to ids", "<!DOCTYPE a [<!ATTLIST a b CDATA #IMPLIED>]><a>" +
                                                    row(5001, [](int) { return "<a b=''/>"; }) +
                                                    "</a>"},
        {"keys", reader_element(keys)},
        {"plug-ins",
         "<a>" + row(2000, [](int i) { return reader_element(std::to_string(i)); }) + "</a>"},
    };
    for (auto const& [name, xml] : table) {
        describe("large", xml);
        EXPECT_TRUE(load("large")) << name << ": " << err;
    }
    for (std::size_t length = 30000; length < 70000;
         length += 500) {  // the result may depend on where the comment ends in a block
        describe("large", "<a><!--" + filler.substr(0, length) + "--></a>");
        EXPECT_TRUE(load("large")) << "a comment of " << length << ": " << err;
    }
    EXPECT_EQ(plugins.find_plugins(".*").size(), 20001U + 2000U);
}

TEST_F(discovery, a_description_may_be_in_any_encoding) {
    for (char const* encoding : {"utf-8", "UTF-16LE", "UTF-16BE", "UCS-4LE", "Shift_JIS",
                                 "ISO-2022-JP", "windows-1252", "US-ASCII", "IBM037", "IBM500"}) {
        describe("encoded", declared(encoding, reader_element(std::string(encoding) + "!")));
        EXPECT_TRUE(load("encoded")) << encoding << ": " << err;
        EXPECT_FALSE(plugins.describe_plugin(id_of(std::string(encoding) + "!")) == nullptr)
            << encoding;
    }
    describe("encoded", "\xef\xbb\xbf" + declared("UTF-8", reader_element("marked")));
    EXPECT_TRUE(load("encoded")) << err;
    for (char const* other_start :
         {"<?xml-stylesheet encoding='IBM037'?><a>", "<abcd encoding='IBM037'>"}) {
        std::string const end = other_start[1] == '?' ? "</a>" : "</abcd>";
        describe("encoded", other_start + reader_element("k") + end);
        EXPECT_TRUE(load("encoded")) << other_start << err;
    }

    std::string const valid = declared("Shift_JIS", "<a>" + reader_element("before"));
    describe("encoded", valid + "\xff\xff");
    EXPECT_FALSE(load("encoded"));
    EXPECT_EQ(err,
              "failed to load plugin: the document is not valid in its encoding, "
              "\"Shift_JIS\", at byte " +
                  std::to_string(valid.size()) + "\n");
    EXPECT_FALSE(plugins.describe_plugin(id_of("before")) == nullptr);
}

TEST_F(discovery, only_entries_that_may_be_plugin_directories_are_examined) {
    support::temporary_directory elsewhere;
    elsewhere.write("linked/plugin.xml", reader_element("linked"));
    describe("plain", reader_element("plain"));
    describe(".hidden", reader_element("hidden"));
    describe("outer/nested", reader_element("nested"));
    files.write("notes.txt", reader_element("notes"));
    files.write("plugin.xml", reader_element("scanned"));
    ASSERT_EQ(mkfifo(files.path("fifo").c_str(), 0600), 0);
    fs::create_directory_symlink(elsewhere.path("linked"), files.path("link"));
    fs::create_symlink("notes.txt", files.path("link to notes"));

    EXPECT_EQ(scan(), 2);
    EXPECT_EQ(plugins.find_plugins(".*"), (strings{id_of("linked"), id_of("plain")}));
    std::string const link = cannot_open("link to notes");
    std::string const outer = cannot_open("outer");
    EXPECT_TRUE(err == link + outer || err == outer + link) << err;
    EXPECT_EQ(out, "");
}

TEST_F(discovery, a_directory_that_cannot_be_scanned_counts_as_empty) {
    files.write("file", "");
    fs::create_directories(files.path("empty"));
    for (char const* name : {"empty", "file", "missing"}) {
        EXPECT_EQ(scan(name), 0) << name;
        EXPECT_EQ(out + err, "") << name;
    }
}

TEST_F(discovery, trailing_slashes_are_merged_by_a_scan_and_kept_by_a_single_load) {
    describe("a", reader_element("a"));
    describe("b/b", reader_element("b"));
    EXPECT_EQ(plugins.load_plugins(files.path("b") + "///"), 1);
    EXPECT_TRUE(plugins.load_plugin(files.path("a") + "//"));
    auto const path_of = [&](std::string const& key) {
        return value_of(*plugins.describe_plugin(id_of(key)), "path");
    };
    EXPECT_EQ(path_of("a"), files.path("a") + "//");
    EXPECT_EQ(path_of("b"), files.path("b/b"));
}

TEST_F(discovery, every_plugin_element_outside_another_is_one_plugin) {
    describe("bundle", "<!DOCTYPE bundle><bundle version='2'><!-- none -->" + reader_element("a") +
                           "<unknown><plugins/>" + reader_element("b") + "</unknown></bundle>");
    describe("single", reader_element("c"));
    describe("none", "<bundle><info><name>n</name></info></bundle>");
    EXPECT_EQ(scan(), 3);
    EXPECT_EQ(out + err, "");
    EXPECT_EQ(plugins.find_plugins(".*"), (strings{id_of("a"), id_of("b"), id_of("c")}));
}

TEST_F(discovery, failures_leave_no_file_open) {
    describe("truncated", "<bundle>");
    describe("faulty", "<plugin><interface><bind>f</bind></interface></plugin>");
    fs::create_directories(files.path("missing"));
    scan();
    auto const before = support::open_files();
    for (int round = 0; round < 20; ++round) {
        EXPECT_EQ(scan(), 0);
    }
    EXPECT_EQ(support::open_files(), before);
}

}  // namespace
