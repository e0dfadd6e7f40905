// A pull reader for XML documents. The constructor opens a document. Each advance moves to the
// next node; then you can query its type, name, value and attributes. The document is streamed:
// memory use does not grow with its size.
//
// If the XML library reports an error or a warning during an advance, the reader prints the
// report to standard output and keeps it. That advance still returns the XML library's result.
// Every later advance raises morbase::es::arg with the text of the last report. The XML library
// reads ahead in blocks, so a report may come earlier than the nodes that precede its cause.
//
// A reader owns its document and its schema, and cannot be copied. It takes no lock: use it from
// one thread at a time. Readers share no state. Each call leaves the host's error handlers and
// last error in the XML library unchanged.
//
// The reader fetches neither the document nor a schema from the network. There are two exceptions
// that it cannot control. The XML library loads what a schema includes from wherever the schema
// says. And when a document is validated against its own type declaration, the XML library may
// follow a catalog that the document names: do not validate untrusted documents that way.

#ifndef KIVSYS_READXML_BASE_H
#define KIVSYS_READXML_BASE_H

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

#include <kivsys/export.h>

struct _xmlTextReader;  // declared here so that the XML library's headers are not needed

namespace kivsys::xml {

// Opens a document, validates it and advances through it. Use `reader`, which adds functions to
// query nodes, unless you query them through the XML library itself.
class KIVSYS_API reader_base {
  public:
    // The XML library's node types, passed through unchanged. Three have names here; other
    // numbers may occur, for example for comments, white space and references.
    enum e_node_type : int {
        k_node_element = 1,       // start tag; also an empty element
        k_node_text = 3,          // text that is not only white space
        k_node_end_element = 15,  // end tag; empty elements have none
    };

    // What a document is validated against while it is read.
    enum e_validation_type : int {
        k_validation_dtd = 0,         // against the document's own type declaration
        k_validation_relaxng = 1,     // against a RelaxNG schema
        k_validation_xml_schema = 2,  // not supported
    };

    // A document in memory that may come from an untrusted source. A document that exceeds these
    // limits is refused. Within them, the XML library's time and memory stay proportional to the
    // size of the document:
    //  - 32 KiB, give or take 8 KiB, for a tag, a CDATA section, a processing instruction or the
    //    internal subset of a document type, because each of these is parsed in one go;
    //  - 2 MiB for a comment;
    //  - 500,000 elements and processing instructions;
    //  - 1,024 attributes for an element together with its ancestors, and 500,000 in total, or
    //    5,000 in total if some are declared as references to ids;
    //  - 64 attributes declared in the document type, where none may have a prefix or declare a
    //    namespace;
    //  - 4 MiB for the expansions of its entities in total, where each reference counts at least
    //    32 bytes;
    //  - 4 references to parameter entities, and 8 to other entities if there are such.
    //
    // For a text, the XML library's own limit applies: 10,000,000 bytes.
    struct memory_document {
        std::string path;  // its name, and the base of relative references in it
        std::string text;  // in the encoding that the document declares
    };

    // Holds what validation needs while the document is read. Internal: the reader creates and
    // owns it.
    class KIVSYS_NO_EXPORT validator {
      public:
        virtual ~validator() = 0;
    };

    // Opens the document at path: a file's path, or anything else that the XML library can open.
    // The first advance moves to the first node. Raises es::call if the document cannot be
    // opened. The constructors call the virtual functions of this class, never those of a derived
    // class.
    explicit reader_base(std::string const& path);

    // The same, followed by set_validation(type, schema).
    reader_base(std::string const& path, e_validation_type type, std::string const& schema);

    // Opens the document as the first constructor does. The schema's path must contain a ".";
    // otherwise raises es::arg. The path is used for nothing else: the schema is not opened and
    // the document is not validated.
    reader_base(std::string const& path, std::string const& schema);

    // The same with a document in memory. Raises es::arg if the document is encoded twice, or if
    // its entities exceed their limits. If another limit is exceeded during an advance, the next
    // advance raises es::arg. So does the advance after the last text that is valid in the
    // document's encoding.
    reader_base(memory_document whole, std::string const& schema);

    reader_base(reader_base const&) = delete;
    reader_base& operator=(reader_base const&) = delete;

    // Opens the document at path. The constructors call it; do not call it on a reader with an
    // open document. Raises es::call if the document cannot be opened.
    virtual void create_reader(std::string const& path);

    // Enables validation. Has no effect after the first advance, or for a type that is not
    // listed. Raises es::unsupp for XML Schema, and es::call if the RelaxNG schema cannot be
    // parsed; then the reader continues without it.
    virtual void set_validation(e_validation_type type, std::string const& schema);

    // Receives a report of the XML library: its severity, text, line and column. Line and column
    // count from 1; 0 means unknown.
    using report_handler =
        std::function<void(int severity, std::string const& message, int line, int column)>;

    // From now on, passes reports to the handler instead of printing them. They still end the
    // walk. The handler must not use the reader. Its exceptions are dropped.
    void set_report_handler(report_handler handler);

    // Advances to the next node in document order. False at the end of the document, and if the
    // XML library gives up; use raise_if_broken_off to distinguish the two. Raises es::arg if the
    // XML library reported something earlier.
    virtual bool read();

    // The same, but skips everything inside the current node and moves to the node after it. The
    // content is still parsed, and reports about it count.
    virtual bool skip();

    virtual ~reader_base();

    // Raises es::arg if there are no more nodes but the document was not read to its end without
    // a report. Does nothing if the last advance found a node. Call it after the last advance if
    // you must not mistake part of a document for the whole.
    void raise_if_broken_off() const;

    // The XML library's handle, owned by the reader; null if create_reader failed. Use it only to
    // query the current node: if you advance it directly, the reader misses reports.
    _xmlTextReader* get_xmlTextReader() const noexcept { return document.get(); }

  private:
    struct KIVSYS_NO_EXPORT close_document {
        void operator()(_xmlTextReader* open) const noexcept;
    };

    // What the XML library has reported on this document, and its source if that is in memory.
    struct KIVSYS_NO_EXPORT parse_state;

    KIVSYS_NO_EXPORT void open(_xmlTextReader* opened, std::string const& path);
    KIVSYS_NO_EXPORT void raise_if_reported() const;
    KIVSYS_NO_EXPORT bool advance(int (*step)(_xmlTextReader*));

    std::unique_ptr<_xmlTextReader, close_document> document;
    std::unique_ptr<validator> schema_validator;
    std::unique_ptr<parse_state> state;  // the XML library keeps its address
    int last_step = 1;  // result of the last advance: 1 a node, 0 the end, -1 failure
};

// A reader with functions that query the current node. If there is no value, the four that set a
// string return false and leave the string unchanged; they raise only std::bad_alloc. Strings are
// copies, owned by the caller, in UTF-8 whatever the document's encoding.
//
//     kivsys::xml::reader document("plugin.xml");
//     while (document.next_node()) { ... document.get_name(name) ... }
//     document.raise_if_broken_off();
class KIVSYS_API reader : public reader_base {
  public:
    // The same as those of reader_base.
    explicit reader(std::string const& path);
    reader(std::string const& path, e_validation_type type, std::string const& schema);
    reader(std::string const& path, std::string const& schema);
    reader(memory_document whole, std::string const& schema);
    ~reader() override;

    // The same as read() and skip(), including what they raise.
    virtual bool next_node();
    virtual bool skip_node();

    // Advances until the current node has this type; does not move if it already does. False if
    // the document ends first. Raises what read() raises.
    virtual bool skip_to_node(e_node_type type);

    // The current node's type; 0 before the first advance and after the last, -1 on error.
    virtual e_node_type get_type() const;

    // The depth of the current node; 0 for the root element or if there is no node, -1 on error.
    virtual int get_depth() const;

    // The current node's qualified name, with the prefix in the document. The prefix does not
    // identify the namespace.
    virtual bool get_name(std::string& name) const;

    // Whether the current node is an empty-element tag, <a/>, which has no end tag. False for
    // <a></a>, and on error.
    virtual bool is_empty() const;

    // The current node's text. An element has none: its text is in child nodes.
    virtual bool get_value(std::string& value) const;

    // Whether the current element has attributes, also when the node is its end tag. False for
    // other nodes, and on error.
    virtual bool has_attributes() const;

    // Makes the current element's next attribute the current node, so that you can query its name
    // and value. False if there are no more. The next advance continues from the element.
    virtual bool next_attribute() const;

    // An attribute of the current element, by qualified name or by index from 0. The name must
    // not be null, nor the index negative. An empty attribute sets an empty string and returns
    // true. On an end tag these return the attributes too, although the count is 0. While an
    // attribute is the current node, they return false, and the count is 0.
    virtual bool get_attribute(char const* name, std::string& value) const;
    virtual int get_attribute_count() const;
    virtual bool get_attribute(int index, std::string& value) const;
};

}  // namespace kivsys::xml

#endif
