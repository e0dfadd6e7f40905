#include <atomic>
#include <cerrno>
#include <functional>
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <libxml/xmlerror.h>

#include <kivsys/host_errors_aside.h>
#include <kivsys/readxml_base.h>
#include <morbase/es.h>
#include <support/capture.h>
#include <support/files.h>

namespace {

std::atomic<int> sockets{0};

}  // namespace

// Replaces the platform's function: nothing here may use the network.
extern "C" __attribute__((visibility("default"))) int socket(int /*domain*/, int /*type*/,
                                                             int /*protocol*/) noexcept {
    ++sockets;
    errno = EACCES;
    return -1;
}

namespace {

namespace es = morbase::es;
using kivsys::xml::reader;

using strings = std::vector<std::string>;

// The message of the exception of this kind that `work` raises, or a note that it raises none.
template <typename kind>
std::string message_of(std::function<void()> const& work) {
    try {
        work();
    } catch (kind const& raised) {
        EXPECT_STREQ(raised.file(), "code/lib/kivsys/src/readxml_base");
        EXPECT_GT(raised.line(), 0U);
        return raised.what();
    } catch (std::exception const& other) {
        return std::string("another kind was raised: ") + other.what();
    }
    return "nothing was raised";
}

// The two lines that are printed for one error.
std::string report(std::string const& message, int severity) {
    return "(readxml_base) error func called with msg: " + message +
           "\nsev: " + std::to_string(severity) + "\n";
}

// The result of reading a document to its end.
struct walk {
    int nodes = 0;
    bool ended = false;  // next_node returned false
    std::string raised;  // by the step after an error
    std::string printed;
};

walk walk_through(reader& document) {
    walk result;
    support::capture out(1);
    try {
        while (document.next_node()) {
            ++result.nodes;
        }
        result.ended = true;
        document.raise_if_broken_off();
    } catch (es::arg const& raised) {
        result.raised = raised.what();
    }
    result.printed = out.text();
    return result;
}

void ignore(void* /*context*/, xmlErrorPtr /*error*/) {}

// The host has its own error handler, which the XML library would prefer to the reader's, and an
// error that it has not read yet. A reader must leave both unchanged.
class xml_reader : public testing::Test {
  protected:
    void SetUp() override {
        xmlSetStructuredErrorFunc(&files, ignore);
        xmlFreeDoc(xmlReadDoc(reinterpret_cast<xmlChar const*>("<host"), "host", nullptr, 0));
    }

    void TearDown() override {
        EXPECT_TRUE(xmlStructuredError == ignore && xmlStructuredErrorContext == &files);
        xmlSetStructuredErrorFunc(nullptr, nullptr);
        ASSERT_NE(xmlGetLastError(), nullptr);
        EXPECT_STREQ(xmlGetLastError()->file, "host");
        xmlResetLastError();
    }

    std::string write(std::string const& content) const {
        return files.write("document.xml", content);
    }

    support::temporary_directory files;
};

TEST_F(xml_reader, an_error_in_a_document_is_printed_and_raised_only_by_its_reader) {
    reader good(files.write("good.xml", "<a><b/></a>"));
    good.next_node();
    reader bad(files.write("bad.xml", "garbage"));
    std::string const raised = walk_through(bad).raised;
    std::string const long_name(3000, 'n');
    std::string many = "<a>";
    for (int i = 0; i < 5000; ++i) {
        many += "<b/>";
    }
    std::string const mismatch = "Opening and ending tag mismatch: ";
    // The content, the message, the least number of nodes before it (the parser reads ahead),
    // and the severity.
    std::tuple<std::string, std::string, int, int> const table[] = {
        {"", "Extra content at the end of the document\n", 0, 4},
        {"garbage", "Document is empty\n", 0, 4},
        {"<a><b>", "Extra content at the end of the document\n", 2, 4},
        {"<a/>\n<b/>", "Extra content at the end of the document\n", 0, 4},
        {"<a><b></a>", mismatch + "b line 1 and a\n", 0, 4},
        {"<a>&nope;</a>", "Entity 'nope' not defined\n", 0, 4},
        {many + "</c>", mismatch + "a line 1 and c\n", 1000, 4},
        {"<a><" + long_name + "></a>", mismatch + long_name + " line 1 and a\n", 1, 4},
        {"<a xml:space='x'><b/></a>",
         "Invalid value \"x\" for xml:space : \"default\" or \"preserve\" expected\n", 1, 3},
    };
    for (auto const& [content, message, nodes, severity] : table) {
        SCOPED_TRACE(content.substr(0, 40));
        kivsys::xml::host_errors_aside const around_all_calls;
        reader document(write(content));
        walk const result = walk_through(document);
        EXPECT_GE(result.nodes, nodes);
        EXPECT_EQ(result.nodes == 0, nodes == 0);
        EXPECT_EQ(result.ended, severity == 4);  // after a warning, reading continues
        EXPECT_EQ(result.printed, report(message, severity));
        EXPECT_EQ(result.raised, "Parser error: \"" + message + "\"");
        EXPECT_EQ(message_of<es::arg>([&] { document.read(); }), result.raised);
        EXPECT_EQ(message_of<es::arg>([&] { document.skip(); }), result.raised);
    }
    walk const result = walk_through(good);
    EXPECT_TRUE(result.ended);
    EXPECT_EQ(result.raised + result.printed, "");
    EXPECT_EQ(message_of<es::arg>([&] { bad.read(); }), raised);
}

TEST_F(xml_reader, a_path_that_cannot_be_opened_is_named_in_full_and_not_fetched) {
    sockets = 0;
    for (std::string const& path :
         {std::string("missing.xml"), std::string(2000, 'p'), std::string("HTTP://127.0.0.1/"),
          std::string("ftp://127.0.0.1/")}) {
        EXPECT_EQ(message_of<es::call>([&] { reader const document(path); }),
                  "Could not create xml reader for \"" + path + "\"");
    }
    support::capture const libxml2_errors(2);
    reader document(write("<!DOCTYPE a SYSTEM 'http://127.0.0.1/a.dtd'><a/>"),
                    reader::k_validation_dtd, "");
    EXPECT_EQ(walk_through(document).raised,
              "Validity error: \"Validation failed: no DTD found !\"");
    EXPECT_EQ(sockets, 0);
}

TEST_F(xml_reader, a_schema_path_needs_a_dot_but_the_schema_need_not_exist) {
    std::string const path = write("<c/>");
    for (std::string const& schema : {files.write("no.rng", "schema"), std::string(".")}) {
        reader document(path, schema);
        walk const result = walk_through(document);
        EXPECT_EQ(result.nodes, 1) << schema;
        EXPECT_EQ(result.raised, "") << schema;
    }
    for (std::string const& schema : {std::string(), std::string(2000, 's')}) {
        EXPECT_EQ(
            message_of<es::arg>([&] { reader const document(path, schema); }),
            "File \"" + schema + "\" is missing extension, could not determine validation type");
        EXPECT_THROW(reader(reader::memory_document{"in memory.xml", "<c/>"}, schema), es::arg);
    }
}

TEST_F(xml_reader, validation_uses_the_documents_own_type_or_the_schema) {
    std::string const type = "<!DOCTYPE a [<!ELEMENT a (b)><!ELEMENT b EMPTY>]>";
    std::string const schema =
        files.write("schema.rng",
                    "<element name='a' xmlns='http://relaxng.org/ns/structure/1.0'>"
                    "<element name='b'><empty/></element></element>");
    struct {
        int validation;
        int nodes;
        std::string content;
        strings reports;  // the last one is raised
    } const table[] = {
        {reader::k_validation_dtd, 4, type + "<a><b/></a>", {}},
        {reader::k_validation_dtd,
         1,
         type + "<a><c/></a>",
         {"No declaration for element c\n",
          "Element a content does not follow the DTD, expecting (b), got (c)\n"}},
        {reader::k_validation_relaxng, 3, "<a><b/></a>", {}},
        {reader::k_validation_relaxng, 2, "<a><c/></a>", {"Did not expect element c there\n"}},
        {3, 4, type + "<a><c/></a>", {}},  // not a valid type of validation
        {-1, 4, type + "<a><c/></a>", {}},
    };
    for (auto const& [validation, nodes, content, reports] : table) {
        SCOPED_TRACE(content + " validated by " + std::to_string(validation));
        reader document(write(content), static_cast<reader::e_validation_type>(validation), schema);
        walk const result = walk_through(document);
        std::string printed;
        for (std::string const& message : reports) {
            printed += report(message, 2);
        }
        EXPECT_EQ(result.nodes, nodes);
        EXPECT_EQ(result.printed, printed);
        EXPECT_EQ(result.raised,
                  reports.empty() ? "" : "Validity error: \"" + reports.back() + "\"");
    }
    reader begun(write(type + "<a><c/></a>"));
    begun.next_node();
    begun.set_validation(reader::k_validation_dtd, "");
    begun.set_validation(reader::k_validation_relaxng, schema);
    EXPECT_EQ(walk_through(begun).printed, "");
    reader listened(write("<a><c/></a>"), reader::k_validation_relaxng, schema);
    int column = -1;
    listened.set_report_handler([&](int, std::string const&, int, int at) { column = at; });
    walk_through(listened);
    EXPECT_EQ(column, 0);  // unknown
}

TEST_F(xml_reader, an_unusable_schema_is_refused_and_the_reader_continues) {
    sockets = 0;
    support::capture const libxml2_errors(2);
    std::string const path = write("<c/>");
    std::string const schemas[] = {files.path("missing" + std::string(1500, 'r')),
                                   files.write("malformed.rng", "<element"),
                                   files.write("other.rng", "<a/>"), "http://127.0.0.1/schema.rng"};
    for (std::string const& schema : schemas) {
        reader document(path);
        EXPECT_EQ(message_of<es::call>(
                      [&] { document.set_validation(reader::k_validation_relaxng, schema); }),
                  "Could not parse \"" + schema + "\"");
        EXPECT_EQ(message_of<es::unsupp>(
                      [&] { document.set_validation(reader::k_validation_xml_schema, schema); }),
                  "XML Schemas not supported \"" + schema + "\"");
        EXPECT_EQ(walk_through(document).nodes, 1);
    }
    EXPECT_EQ(sockets, 0);
}

TEST_F(xml_reader, a_walk_visits_every_node_in_document_order) {
    reader document(
        write("<a xmlns:p='urn:p'>\n <p:b>x</p:b><![CDATA[<c>]]><!-- k --><?target z?>"
              " t&amp;u&#228; <e/></a>"));
    std::string nodes;  // the type, the depth, the name and the value of each
    while (document.next_node()) {
        std::string name = "(unnamed)";
        std::string value = "(none)";
        document.get_name(name);
        document.get_value(value);
        nodes += std::to_string(document.get_type()) + " " + std::to_string(document.get_depth()) +
                 " " + name + (document.is_empty() ? "/ " : " ") + value + "\n";
    }
    EXPECT_EQ(nodes,
              "1 0 a (none)\n"
              "14 1 #text \n \n"
              "1 1 p:b (none)\n"
              "3 2 #text x\n"
              "15 1 p:b (none)\n"
              "4 1 #cdata-section <c>\n"
              "8 1 #comment  k \n"
              "7 1 target z\n"
              "3 1 #text  t&u\xc3\xa4 \n"
              "1 1 e/ (none)\n"
              "15 0 a (none)\n");
    document.raise_if_broken_off();
}

TEST_F(xml_reader, skip_leaves_out_the_contents_of_an_element) {
    reader document(write("<a><b><c>1</c><b/></b><d/><e>2</e></a>"));
    document.next_node();
    document.next_node();
    std::string names;
    while (document.skip_node()) {
        std::string name;
        document.get_name(name);
        names += name + std::to_string(document.get_depth()) + " ";
    }
    EXPECT_EQ(names, "d1 e1 a0 ");
}

TEST_F(xml_reader, skip_to_node_stays_if_the_type_already_matches) {
    std::string const half(70000, 'x');
    reader document(write("<a> <b/>\n<c>" + half + "&lt;" + half + "</c></a>"));
    ASSERT_TRUE(document.skip_to_node(reader::k_node_element));
    ASSERT_TRUE(document.skip_to_node(reader::k_node_element));
    EXPECT_EQ(document.get_depth(), 0);
    ASSERT_TRUE(document.skip_to_node(reader::k_node_text));  // white space does not count as text
    std::string text;
    document.get_value(text);
    EXPECT_TRUE(text == half + "<" + half) << text.size();
    document.next_node();
    EXPECT_FALSE(document.skip_to_node(reader::k_node_text));
}

TEST_F(xml_reader, attributes_are_found_by_name_by_number_and_by_walking) {
    reader document(write("<a one='1' two=''>text</a>"));
    document.next_node();
    std::string value = "kept";
    EXPECT_TRUE(document.has_attributes());
    EXPECT_EQ(document.get_attribute_count(), 2);
    EXPECT_FALSE(document.get_attribute("three", value));
    EXPECT_FALSE(document.get_attribute(2, value));
    EXPECT_FALSE(document.get_value(value));
    EXPECT_EQ(value, "kept");
    EXPECT_TRUE(document.get_attribute(0, value));
    EXPECT_EQ(value, "1");
    EXPECT_TRUE(document.get_attribute("two", value));
    EXPECT_EQ(value, "");
    std::string walked;
    while (document.next_attribute()) {
        std::string name;
        document.get_name(name);
        document.get_value(value);
        walked += name + "=" + value + ";";
    }
    EXPECT_EQ(walked, "one=1;two=;");
    ASSERT_TRUE(document.next_node());
    EXPECT_FALSE(document.has_attributes());
}

TEST_F(xml_reader, an_attribute_node_has_its_whole_value_or_none) {
    std::string const megabyte(1 << 20, 'x');
    reader document(write("<!DOCTYPE a [<!ENTITY none ''><!ENTITY e '" + megabyte +
                          "'>]><a one='&none;' two='&e;&e;&e;&e;&e;&e;&e;&e;&e;&e;&e;'/>"));
    document.skip_to_node(reader::k_node_element);
    std::string value = "kept";
    ASSERT_TRUE(document.next_attribute());
    EXPECT_FALSE(document.get_value(value));
    EXPECT_EQ(value, "kept");
    ASSERT_TRUE(document.next_attribute());
    EXPECT_TRUE(document.get_value(value));
    EXPECT_EQ(value.size(), 11 * megabyte.size());
}

TEST_F(xml_reader, reading_prefixed_names_does_not_break_off_a_large_document) {
    std::string content = "<p:a xmlns:p='urn:p'>";
    for (int i = 0; i < 1000; ++i) {
        content += "<p:" + std::string(10000, 'n') + std::to_string(i) + "/>";
    }
    reader document(write(content + "</p:a>"));
    std::string name;
    int nodes = 0;
    while (document.next_node()) {
        nodes += document.get_name(name) && name.compare(0, 2, "p:") == 0 ? 1 : 0;
    }
    EXPECT_EQ(nodes, 1002);
    document.raise_if_broken_off();
}

// A larger document is walked node by node, to check its bounds.
TEST_F(xml_reader, a_skip_from_an_attribute_leaves_its_element_in_a_document_of_any_size) {
    for (std::size_t const size : {0UL, 8000UL}) {
        std::string const xml = "<a><b x='1'><c/></b><d/><e/>" + std::string(size, ' ') + "</a>";
        reader document({"in memory.xml", xml}, "in memory.rng");
        ASSERT_TRUE(document.next_node() && document.next_node() && document.next_attribute());
        ASSERT_TRUE(document.skip_node());
        std::string name;
        EXPECT_TRUE(document.get_name(name));
        EXPECT_EQ(name, "d") << size;
        ASSERT_TRUE(document.skip_node() && document.get_name(name));
        EXPECT_EQ(name, "e") << size;
    }
}

}  // namespace
