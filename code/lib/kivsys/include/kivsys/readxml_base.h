// A pull reader for XML documents. Constructing a reader opens a document; each
// advance moves on to the next node, whose type, name, value and attributes can
// then be asked for. The document streams: memory does not grow with it.
//
// What the XML library reports while it advances, a warning as well as an error,
// is printed to standard output and kept in the reader: that advance still ends
// as the XML library has it, and every later one raises morbase::es::arg with
// the text of the last report. The XML library reads ahead in blocks, so a report
// may come before the nodes that stand in front of its cause.
//
// A reader owns its document and its schema and is never copied. It takes no
// lock: one thread at a time uses it. Readers share no state. The host's own
// error handlers and last error in the XML library are after every call what they were.
//
// The reader fetches nothing from the network, neither the document nor a schema, apart from
// two things that are beyond its reach. The XML library loads what a schema includes from
// wherever the schema says. And where a document is validated against its own type, it may
// follow a catalog that the document names: do not validate documents from strangers that way.

#ifndef KIVSYS_READXML_BASE_H
#define KIVSYS_READXML_BASE_H

#include <cstddef>
#include <memory>
#include <string>

#include <kivsys/export.h>

struct _xmlTextReader;  // the XML library's; declared here, so that its headers stay out

namespace kivsys::xml {

// Opens, validates and advances. For callers that ask the XML library itself about
// the nodes; `reader` adds the questions.
class KIVSYS_API reader_base {
  public:
    // The XML library's node types, passed through unchanged; three have names here. Any
    // other number may turn up: comments, white space, references.
    enum e_node_type : int {
        k_node_element = 1,       // start tag, also of an empty element
        k_node_text = 3,          // text that is not white space only
        k_node_end_element = 15,  // end tag; empty elements have none
    };

    // What a document is held against while it is read.
    enum e_validation_type : int {
        k_validation_dtd = 0,         // against the document's own type declaration
        k_validation_relaxng = 1,     // against a RelaxNG schema
        k_validation_xml_schema = 2,  // not supported
    };

    // A document that is in memory already and may come from a stranger. It is refused beyond
    // bounds within which the XML library's time and memory stay in proportion to its size:
    //  - 32 KiB, to within 8 KiB, for a tag, a CDATA section, a processing instruction and the
    //    internal subset of a document type, each of which is parsed in one go;
    //    2 MiB for a comment,
    //  - 500,000 elements and processing instructions,
    //  - 1,024 attributes for an element and those around it, 500,000 for all; 64 declared ones,
    //    without prefixes;
    //    5,000 for all where some are declared as references to ids,
    //  - 4 MiB for what its entities stand for, in all places that refer to them and at least 32
    //    bytes in each; 4 references to parameter entities, and 8 to others beside those.
    // A text has the XML library's own bound, 10,000,000 bytes.
    struct memory_document {
        std::string path;  // its name, from which relative references in it start
        std::string text;  // in the encoding that it declares
    };

    // Holds what a validation needs for as long as the document is read. The reader makes
    // and owns it; nobody else has a use for it.
    class KIVSYS_API validator {
      public:
        virtual ~validator() = 0;
    };

    // Opens the document at path, a file's path or what else the XML library opens, and
    // stands before its first node. Raises es::call when it cannot be opened. The
    // constructors run the versions of this class, never those of a derived one.
    explicit reader_base(std::string const& path);

    // The same, followed by set_validation(type, schema).
    reader_base(std::string const& path, e_validation_type type, std::string const& schema);

    // Opens the document as the first constructor does. The schema's path must hold a
    // "." (raises es::arg otherwise), and that is all: the schema is not opened and the
    // document not validated.
    reader_base(std::string const& path, std::string const& schema);

    // The same with a document in memory. Raises es::arg when it is encoded twice or its
    // entities are beyond their bounds; the advance after the one that goes beyond another bound
    // raises it too, and so does the one behind the last text that is valid in the document's
    // encoding.
    reader_base(memory_document whole, std::string const& schema);

    reader_base(reader_base const&) = delete;
    reader_base& operator=(reader_base const&) = delete;

    // Opens the document at path. The constructors do so; not for a reader that has a
    // document open. Raises es::call when it cannot be opened.
    virtual void create_reader(std::string const& path);

    // Switches validation on. After the first advance it changes nothing. Does nothing for a
    // type that is not listed. Raises es::unsupp for XML Schema, es::call when the RelaxNG
    // schema cannot be parsed; the reader then goes on without it.
    virtual void set_validation(e_validation_type type, std::string const& schema);

    // Advances to the next node in document order. False at the end of the document
    // and when the XML library gives up; raise_if_broken_off tells the two apart. Raises
    // es::arg once something was reported.
    virtual bool read();

    // The same, past everything inside the current node: to the node behind it. What lies
    // inside is parsed all the same, and what is reported of it counts.
    virtual bool skip();

    virtual ~reader_base();

    // Raises es::arg when the walk is over but the document was not read to its end
    // without a report. Does nothing while the last advance gave a node. To be asked after
    // the last advance by whoever must not take a part of a document for the whole.
    void raise_if_broken_off() const;

    // The XML library's handle, owned by the reader and null when create_reader failed. To
    // ask about the current node: an advance past the reader would miss the reports.
    _xmlTextReader* get_xmlTextReader() const noexcept { return document.get(); }

  private:
    struct close_document {
        void operator()(_xmlTextReader* open) const noexcept;
    };

    // What the XML library reported of this document, and what it reads of a document in
    // memory.
    struct parse_state;

    void open(_xmlTextReader* opened, std::string const& path);
    void raise_if_reported() const;
    bool advance(int (*step)(_xmlTextReader*));

    std::unique_ptr<_xmlTextReader, close_document> document;
    std::unique_ptr<validator> schema_validator;
    std::unique_ptr<parse_state> state;  // the XML library keeps its address
    int last_step = 1;  // what the last advance gave: 1 a node, 0 the end, -1 failed
};

// A reader with the questions that one asks about nodes. The four that fill a
// string return false and leave it untouched when there is nothing to give; they
// raise nothing but std::bad_alloc. Strings are copies and the caller's, in UTF-8
// whatever the document's own encoding is.
//
//     kivsys::xml::reader document("plugin.xml");
//     while (document.next_node()) { ... document.get_name(name) ... }
//     document.raise_if_broken_off();
class KIVSYS_API reader : public reader_base {
  public:
    // As those of reader_base.
    explicit reader(std::string const& path);
    reader(std::string const& path, e_validation_type type, std::string const& schema);
    reader(std::string const& path, std::string const& schema);
    reader(memory_document whole, std::string const& schema);
    ~reader() override;

    // read() and skip() by other names. Both pass through what those raise.
    virtual bool next_node();
    virtual bool skip_node();

    // Advances until the current node is of this type; stays where it is when it
    // already is. False when the document ends first. Raises as read() does.
    virtual bool skip_to_node(e_node_type type);

    // The current node's type; 0 before the first advance and behind the last, -1 for an
    // error.
    virtual e_node_type get_type() const;

    // How deep the current node lies; 0 for the root element and where there is no node, -1
    // for an error.
    virtual int get_depth() const;

    // The current node's qualified name: with the prefix that the document gives it, which
    // says nothing about its namespace.
    virtual bool get_name(std::string& name) const;

    // Whether the current node is an element written as an empty one, <a/>: no end tag
    // will come for it. False for <a></a>, and for an error.
    virtual bool is_empty() const;

    // The current node's text. An element has none: its text is in nodes inside it.
    virtual bool get_value(std::string& value) const;

    // Whether the current element has attributes, its end tag included; false for other nodes
    // and for an error.
    virtual bool has_attributes() const;

    // Makes the current element's next attribute the current node, whose name and value
    // can then be asked for. False when there is none left. The next advance goes on from
    // the element.
    virtual bool next_attribute() const;

    // An attribute of the current element, by qualified name, which is not null, or by its
    // number from 0. An attribute that is there and empty is given as an empty string.
    // The end tag gives them too, though the count is 0 there. While an attribute is the
    // current node there is nothing to give, and the count is 0. A number is not negative.
    virtual bool get_attribute(char const* name, std::string& value) const;
    virtual int get_attribute_count() const;
    virtual bool get_attribute(int index, std::string& value) const;
};

}  // namespace kivsys::xml

#endif
