#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <kivcore/plugins.h>
#include <kivsys/readxml_base.h>
#include <morbase/es.h>
#include <support/capture.h>
#include <support/files.h>

namespace {

using kivcore::__info;  // NOLINT(bugprone-reserved-identifier): the name is a public contract

class description : public testing::Test {
  protected:
    // The record of the first plugin element, in the form of read_next.
    std::string read(std::string const& content) {
        kivsys::xml::reader document(files.write("plugin.xml", content), "plugin.rng");
        return read_next(document);
    }

    // "key=value|" for each value except the path, which is checked here.
    static std::string read_next(kivsys::xml::reader& document) {
        std::string name;
        while (name != "plugin" || document.get_type() != kivsys::xml::reader::k_node_element) {
            if (!document.next_node()) {
                return "no plugin";
            }
            document.get_name(name);
        }
        auto values = __info(document, "/some/where").values;
        EXPECT_EQ(values["path"], "/some/where");
        values.erase("path");
        std::string record;
        for (auto const& [key, value] : values) {
            record.append(key).append("=").append(value).append("|");
        }
        return record;
    }

    support::temporary_directory files;
};

TEST_F(description, every_known_element_sets_its_key) {
    EXPECT_EQ(read("<?xml version='1.0' encoding='ISO-8859-1'?><!DOCTYPE plugin><!-- first -->\n"
                   "<plugin kind='x' id='sample'>\n"
                   " <interface>\n"
                   "  <category>io</category><type>read</type><key>wav|wave</key>\n"
                   "  <flavor>c-style</flavor><version>1</version>\n"
                   "  <bind function='open'>wav_open</bind><bind function='read'>wav_read</bind>\n"
                   " </interface>\n"
                   " <info>\n"
                   "  <name>Wave &amp; more</name><version>1.2.0</version>\n"
                   "  <copyright>\xa9</copyright>\n"
                   "  <developer><name>Sample</name><id>sdev</id><mail>none</mail></developer>\n"
                   "  <description> two\n lines </description>\n"
                   " </info>\n"
                   "</plugin>"),
              "id=sample|info.copyright=\xc2\xa9|info.description= two\n lines |"
              "info.developer.id=sdev|info.developer.name=Sample|info.name=Wave & more|"
              "info.version=1.2.0|interface.bind.open=wav_open|interface.bind.read=wav_read|"
              "interface.category=io|interface.flavor=c-style|interface.key=wav|wave|"
              "interface.type=read|interface.version=1|");
}

TEST_F(description, the_structure_is_not_validated) {
    std::pair<char const*, char const*> const table[] = {
        // Any attribute counts as the id.
        {"<plugin></plugin>", ""},
        {"<plugin id=''></plugin>", "id=|"},
        {"<plugin name='n'></plugin>", "id=|"},
        // Sections may repeat, nest and come in any order; the last value counts.
        {"<plugin><info><name>1</name></info><x><interface><y><key>k</key></y></interface></x>"
         "<info><name>2</name><name>3</name></info></plugin>",
         "info.name=3|interface.key=k|"},
        {"<plugin><interface><bind function='f'>1</bind><bind function='f'>2</bind>"
         "<bind function=''>3</bind></interface></plugin>",
         "interface.bind.=3|interface.bind.f=2|"},
        // Skipped with all their contents.
        {"<plugin><config><interface><key>k</key></interface><plugin></plugin></config>\n"
         "<input/> <input><info><name>n</name></info></input>\n"
         "<info><version>1</version></info></plugin>",
         "info.version=1|"},
        // Names in another place or namespace are ignored.
        {"<plugin xmlns:p='urn:p'><p:interface><key>k</key></p:interface><key>k</key>"
         "<info><key>k</key><p:name>n</p:name></info></plugin>",
         "id=|"},
        // An element without a text takes the next text in the document.
        {"<plugin><interface><category/><type>read</type></interface></plugin>",
         "interface.category=read|"},
        {"<plugin><interface><key> \n</key><type>\tt\t</type></interface></plugin>",
         "interface.key=\tt\t|"},
        {"<plugin><interface><key><![CDATA[no]]></key><type>t</type></interface></plugin>",
         "interface.key=t|"},
        {"<plugin><info><name>a<!-- b -->c</name></info></plugin>", "info.name=a|"},
        {"<plugin><info><name><b>bold</b></name></info></plugin>", "info.name=bold|"},
        // If a developer has one child, the next start tag counts as the other.
        {"<plugin><info><developer><id>d</id></developer><description>t</description>"
         "</info></plugin>",
         "info.developer.description=t|info.developer.id=d|"},
        // An empty section continues with the following elements.
        {"<plugin><interface/><info><name>n</name><version>1</version></info></plugin>",
         "interface.version=1|"},
    };
    for (auto const& [content, values] : table) {
        EXPECT_EQ(read(content), values) << content;
    }
}

TEST_F(description, each_plugin_of_a_bundle_has_its_own_record) {
    kivsys::xml::reader document(
        files.write("plugin.xml",
                    "<bundle><plugin id='1'><info><name>a</name></info></plugin>"
                    "<plugin id='2'/><other/><plugin id='3'><info><name>b</name></info></plugin>"
                    "<plugin></plugin></bundle>"),
        "plugin.rng");
    EXPECT_EQ(read_next(document), "id=1|info.name=a|");
    // An empty plugin element continues to the end of the next plugin.
    EXPECT_EQ(read_next(document), "id=2|info.name=b|");
    EXPECT_EQ(read_next(document), "");
    EXPECT_EQ(read_next(document), "no plugin");
}

TEST_F(description, a_description_that_cannot_be_read_is_refused_with_a_reason) {
    support::capture const reports(1);
    std::string const failed = "xml parse: failed to read ";
    std::pair<std::string, std::string> table[] = {
        {"<interface><flavor> <!-- c --> </flavor></interface>", failed + "value of 'flavor'"},
        {"<interface><bind function='f'><x/></bind></interface>", failed + "value of 'bind'"},
        {"<interface><bind name='f'>s</bind></interface>",
         failed + "'function' attribute of 'bind'"},
        {"<info><developer><id/></developer></info>", failed + "value of 'developer'"},
        {"<info><developer><id>d</id></developer></info>", failed + "element name"},
        {"<info><description/></info>", failed + "value of 'description'"},
        // Exceptions of the reader pass through.
        {"<info xml:space='x'><name>n</name></info>",
         "Parser error: \"Invalid value \"x\" for xml:space : \"default\" or \"preserve\" "
         "expected\n\""},
    };
    for (auto const& [content, reason] : table) {
        try {
            read("<plugin>" + content + "</plugin>");
            ADD_FAILURE() << "not refused: " << content;
        } catch (morbase::es::base const& refused) {
            EXPECT_EQ(refused.what(), reason) << content;
        }
    }
}

TEST(info, an_absent_key_leaves_the_value_unchanged) {
    __info info;
    info.values["empty"] = "";
    std::string value = "x";
    EXPECT_FALSE(info.get("Empty", value));
    EXPECT_FALSE(info.get("", value));
    EXPECT_EQ(value, "x");
    EXPECT_TRUE(info.get("empty", value));
    EXPECT_EQ(value, "");
}

TEST(info, find_returns_the_keys_that_match_completely) {
    using keys = std::vector<std::string>;
    __info info;
    for (char const* key : {"id", "info.name", "interface.bind.read", "interface.bind.open",
                            "interface.category", "interfaceXtype"}) {
        info.values[key] = "interface.type";
    }
    std::pair<char const*, keys> const table[] = {
        {"interface\\..*", {"interface.bind.open", "interface.bind.read", "interface.category"}},
        {"interface.(type|category)", {"interface.category", "interfaceXtype"}},
        {"i|id", {"id"}},
        {"ID", {}},
        {"", {}},
        {"(", {}},
    };
    support::captured_output printed;
    for (auto const& [pattern, expected] : table) {
        keys found = {"left", "over"};
        EXPECT_EQ(info.find(pattern, found), !expected.empty()) << pattern;
        EXPECT_EQ(found, expected) << pattern;
    }
    EXPECT_EQ(printed.out.text() + printed.err.text(), "");
}

}  // namespace
