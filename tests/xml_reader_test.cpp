#include <atomic>
#include <cerrno>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <kivsys/readxml_base.h>
#include <morbase/es.h>
#include <support/capture.h>
#include <support/files.h>

namespace {

std::atomic<int> sockets{0};

}  // namespace

// Stands in front of the platform's function: nothing here has any business on the network.
extern "C" __attribute__((visibility("default"))) int socket(int /*domain*/, int /*type*/,
                                                             int /*protocol*/) noexcept {
    ++sockets;
    errno = EACCES;
    return -1;
}

namespace {

namespace es = morbase::es;
using kivsys::xml::reader;

constexpr char const* k_schema =
    "<element name='a' xmlns='http://relaxng.org/ns/structure/1.0'>"
    "<element name='b'><empty/></element></element>";
constexpr char const* k_type = "<!DOCTYPE a [<!ELEMENT a (b)><!ELEMENT b EMPTY>]>";

// The message with which `work` raises an exception of this kind; says so if it does not.
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

// The two lines that are printed for one report.
std::string report(std::string const& message, int severity) {
    return "(readxml_base) error func called with msg: " + message +
           "\nsev: " + std::to_string(severity) + "\n";
}

// What an advance to the end of a document came to.
struct walk {
    int nodes = 0;
    bool ended = false;  // an advance gave false
    std::string raised;  // by the advance after a report
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

class xml_reader : public testing::Test {
  protected:
    std::string write(std::string const& content) const {
        return files.write("document.xml", content);
    }

    support::temporary_directory files;
};

TEST_F(xml_reader, what_the_document_breaks_on_is_printed_and_raised) {
    std::string const long_name(3000, 'n');
    std::string many = "<a>";
    for (int i = 0; i < 5000; ++i) {
        many += "<b/>";
    }
    std::string const mismatch = "Opening and ending tag mismatch: ";
    struct {
        std::string content;
        std::string report;
        int nodes;  // that come before it, as far as known; the parser reads ahead
        int severity = 4;
    } const table[] = {
        {"", "Extra content at the end of the document\n", 0},
        {"garbage", "Document is empty\n", 0},
        {"<a><b>", "Extra content at the end of the document\n", 2},
        {"<a/>\n<b/>", "Extra content at the end of the document\n", 0},
        {"<a><b></a>", mismatch + "b line 1 and a\n", 0},
        {"<a>&nope;</a>", "Entity 'nope' not defined\n", 0},
        {many + "</c>", mismatch + "a line 1 and c\n", 1000},
        {"<a><" + long_name + "></a>", mismatch + long_name + " line 1 and a\n", 1},
        {"<a xml:space='x'><b/></a>",
         "Invalid value \"x\" for xml:space : \"default\" or \"preserve\" expected\n", 1, 3},
    };
    for (auto const& [content, message, nodes, severity] : table) {
        SCOPED_TRACE(content.substr(0, 40));
        reader document(write(content));
        walk const result = walk_through(document);
        EXPECT_GE(result.nodes, nodes);
        EXPECT_EQ(result.nodes == 0, nodes == 0);
        EXPECT_EQ(result.ended, severity == 4);  // after a warning the advance goes on
        EXPECT_EQ(result.printed, report(message, severity));
        EXPECT_EQ(result.raised, "Parser error: \"" + message + "\"");
        EXPECT_EQ(message_of<es::arg>([&] { document.read(); }), result.raised);
        EXPECT_EQ(message_of<es::arg>([&] { document.skip(); }), result.raised);
    }
}

TEST_F(xml_reader, the_error_state_belongs_to_one_reader) {
    reader good(files.write("good.xml", "<a><b/></a>"));
    reader bad(write("<a><b></a>"));
    ASSERT_TRUE(good.next_node());
    EXPECT_NE(walk_through(bad).raised, "");

    EXPECT_EQ(walk_through(good).raised, "");
    reader later(files.path("good.xml"));
    walk const result = walk_through(later);
    EXPECT_TRUE(result.ended);
    EXPECT_EQ(result.raised + result.printed, "");
}

TEST_F(xml_reader, what_cannot_be_opened_is_named_whole) {
    for (std::string const& path : {std::string("missing.xml"), std::string(2000, 'p')}) {
        EXPECT_EQ(message_of<es::call>([&] { reader const document(path); }),
                  "Could not create xml reader for \"" + path + "\"");
    }
}

TEST_F(xml_reader, a_schema_path_needs_a_dot_and_no_schema) {
    std::string const path = write("<c/>");
    for (char const* schema : {"missing.rng", "/dir.d/schema", "."}) {
        reader document(path, schema);
        walk const result = walk_through(document);
        EXPECT_EQ(result.nodes, 1) << schema;
        EXPECT_EQ(result.raised, "") << schema;
    }
    for (std::string const& schema : {std::string(), std::string(2000, 's')}) {
        EXPECT_EQ(
            message_of<es::arg>([&] { reader const document(path, schema); }),
            "File \"" + schema + "\" is missing extension, could not determine validation type");
    }
    EXPECT_EQ(message_of<es::call>([] { reader const document("missing", "schema"); }),
              "Could not create xml reader for \"missing\"");
}

TEST_F(xml_reader, dtd_validation_follows_the_documents_own_type) {
    reader valid(write(std::string(k_type) + "<a><b/></a>"), reader::k_validation_dtd, "unused");
    EXPECT_EQ(walk_through(valid).nodes, 4);

    reader invalid(write(std::string(k_type) + "<a><c/></a>"), reader::k_validation_dtd, "");
    walk const result = walk_through(invalid);
    std::string const last = "Element a content does not follow the DTD, expecting (b), got (c)\n";
    EXPECT_FALSE(result.ended);
    EXPECT_EQ(result.printed, report("No declaration for element c\n", 2) + report(last, 2));
    EXPECT_EQ(result.raised, "Validity error: \"" + last + "\"");

    reader unvalidated(write(std::string(k_type) + "<a><c/></a>"));
    EXPECT_EQ(walk_through(unvalidated).raised, "");
}

TEST_F(xml_reader, relaxng_validation_follows_the_schema) {
    std::string const schema = files.write("schema.rng", k_schema);
    reader valid(write("<a><b/></a>"), reader::k_validation_relaxng, schema);
    walk result = walk_through(valid);
    EXPECT_EQ(result.nodes, 3);
    EXPECT_EQ(result.raised, "");

    reader invalid(write("<a><c/></a>"), reader::k_validation_relaxng, schema);
    result = walk_through(invalid);
    EXPECT_EQ(result.nodes, 2);
    EXPECT_EQ(result.printed, report("Did not expect element c there\n", 2));
    EXPECT_EQ(result.raised, "Validity error: \"Did not expect element c there\n\"");
}

TEST_F(xml_reader, a_schema_that_cannot_be_used_is_refused_and_the_reader_goes_on) {
    support::capture const libxml2_errors(2);
    std::string const path = write("<c/>");
    std::string const schemas[] = {
        files.path("missing.rng"), files.path("missing" + std::string(1500, 'r')),
        files.write("malformed.rng", "<element"), files.write("other.rng", "<a/>")};
    for (std::string const& schema : schemas) {
        SCOPED_TRACE(schema.substr(0, 80));
        reader document(path);
        std::string const refusal = "Could not parse \"" + schema + "\"";
        EXPECT_EQ(message_of<es::call>(
                      [&] { document.set_validation(reader::k_validation_relaxng, schema); }),
                  refusal);
        EXPECT_EQ(message_of<es::call>(
                      [&] { reader const refused(path, reader::k_validation_relaxng, schema); }),
                  refusal);
        EXPECT_EQ(walk_through(document).nodes, 1);
    }
}

TEST_F(xml_reader, xml_schema_is_unsupported_and_unlisted_types_do_nothing) {
    std::string const path = write("<c/>");
    std::string const schema = "schema.xsd" + std::string(1500, 'x');
    EXPECT_EQ(message_of<es::unsupp>(
                  [&] { reader const document(path, reader::k_validation_xml_schema, schema); }),
              "XML Schemas not supported \"" + schema + "\"");
    for (int const type : {3, -1, 1000}) {
        reader document(path, static_cast<reader::e_validation_type>(type), "missing.rng");
        EXPECT_EQ(walk_through(document).nodes, 1) << type;
    }
}

TEST_F(xml_reader, a_walk_meets_every_node_in_document_order) {
    struct {
        int type;
        int depth;
        std::string name;
        std::string value;  // "unset" where the node has none
    } const table[] = {
        {1, 0, "a", "unset"},      {14, 1, "#text", "\n "}, {1, 1, "p:b", "unset"},
        {3, 2, "#text", "x"},      {15, 1, "p:b", "unset"}, {4, 1, "#cdata-section", "<c>"},
        {8, 1, "#comment", " k "}, {7, 1, "target", "z"},   {3, 1, "#text", " t&u\xc3\xa4 "},
        {1, 1, "e", "unset"},      {15, 0, "a", "unset"},
    };
    reader document(
        write("<a xmlns:p='urn:p'>\n <p:b>x</p:b><![CDATA[<c>]]><!-- k --><?target z?>"
              " t&amp;u&#228; <e/></a>"));
    for (auto const& expected : table) {
        ASSERT_TRUE(document.next_node());
        std::string name = "unset";
        std::string value = "unset";
        EXPECT_TRUE(document.get_name(name));
        bool const has_value = document.get_value(value);
        EXPECT_EQ(has_value, value != "unset");
        EXPECT_EQ(document.get_type(), expected.type) << name;
        EXPECT_EQ(document.get_depth(), expected.depth) << name;
        EXPECT_EQ(document.is_empty(), name == "e");
        EXPECT_EQ(name, expected.name);
        EXPECT_EQ(value, expected.value);
    }
    EXPECT_FALSE(document.next_node());
    document.raise_if_broken_off();
}

TEST_F(xml_reader, skip_passes_over_what_is_inside) {
    reader document(write("<a><b><c>1</c><b/></b><d/><e>2</e></a>"));
    std::string name;
    document.next_node();
    document.next_node();
    for (char const* next : {"d", "e"}) {
        ASSERT_TRUE(document.skip_node());
        document.get_name(name);
        EXPECT_EQ(name, next);
    }
    ASSERT_TRUE(document.skip_node());
    EXPECT_EQ(document.get_type(), reader::k_node_end_element);
    EXPECT_EQ(document.get_depth(), 0);
    EXPECT_FALSE(document.skip_node());
    document.raise_if_broken_off();
}

TEST_F(xml_reader, skip_to_node_stays_where_the_type_already_is) {
    std::string const half(70000, 'x');
    reader document(write("<a> <b/>\n<c>" + half + "&lt;" + half + "</c></a>"));
    ASSERT_TRUE(document.skip_to_node(reader::k_node_element));
    ASSERT_TRUE(document.skip_to_node(reader::k_node_element));
    EXPECT_EQ(document.get_depth(), 0);
    ASSERT_TRUE(document.skip_to_node(reader::k_node_text));  // white space alone is none
    std::string text;
    document.get_value(text);
    EXPECT_TRUE(text == half + "<" + half) << text.size();
    document.next_node();
    EXPECT_FALSE(document.skip_to_node(reader::k_node_text));
}

TEST_F(xml_reader, attributes_are_found_by_name_number_and_walk) {
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
    EXPECT_EQ(document.get_type(), reader::k_node_text);
    EXPECT_FALSE(document.has_attributes());
}

TEST_F(xml_reader, no_document_is_fetched_from_the_network) {
    sockets = 0;
    for (std::string const path :
         {"http://127.0.0.1/d.xml", "HTTP://127.0.0.1/", "ftp://127.0.0.1/"}) {
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

TEST_F(xml_reader, no_schema_is_fetched_from_the_network) {
    sockets = 0;
    support::capture const libxml2_errors(2);
    reader document(write("<a/>"));
    EXPECT_THROW(
        document.set_validation(reader::k_validation_relaxng, "http://127.0.0.1/schema.rng"),
        es::call);
    EXPECT_EQ(sockets, 0);
}

// A report is kept by the reader that met it, also while others meet theirs.
TEST(xml_reader_concurrency, readers_on_several_threads_keep_apart) {
    support::temporary_directory const files;
    support::capture const reports(1);
    std::vector<std::thread> threads;
    for (char const tag : {'b', 'c', 'd'}) {
        std::string const name(1, tag);
        threads.emplace_back([path = files.write(name, "<a><" + name + "></a>"), name] {
            for (int round = 0; round < 100; ++round) {
                reader document(path);
                EXPECT_EQ(message_of<es::arg>([&] {
                              while (document.next_node()) {
                              }
                              document.raise_if_broken_off();
                          }),
                          "Parser error: \"Opening and ending tag mismatch: " + name +
                              " line 1 and a\n\"");
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

}  // namespace
