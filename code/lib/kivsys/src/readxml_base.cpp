#include "kivsys/readxml_base.h"

#include <strings.h>

#include <algorithm>
#include <cstdio>
#include <new>
#include <optional>
#include <string_view>
#include <utility>

#include <libxml/parser.h>
#include <libxml/relaxng.h>
#include <libxml/xmlreader.h>
#include <libxml/xmlschemastypes.h>

#include <morbase/es.h>
#include <morbase/text.h>

namespace kivsys::xml {

struct reader_base::parse_state {
    int parser_error = 0;
    std::string message;

    memory_document document{};
    std::size_t given = 0;             // bytes of it that the XML library was given
    std::size_t given_here = 0;        // how many of them when it came to `place`
    std::pair<int, int> place;         // the line and column up to which it has parsed
    std::size_t comment_end = 0;       // of the last long comment
    _xmlTextReader* parser = nullptr;  // null until it is made
    bool in_prolog = true;             // no element came yet

    static int give_bytes(void* self, char* target, int capacity) noexcept;
    bool awaits_too_long_a_piece();
    bool awaits_end_of_comment();
    void bound_document_type();

    static void parser_error_func(void* self, char const* msg, xmlParserSeverities severity,
                                  void* locator) noexcept;
    void keep(char const* msg, xmlParserSeverities severity);

    // Lets the next advance raise the message that `make` sets. Callbacks use this: their caller
    // is C code, which no exception may cross. If memory runs out, the message stays as it was.
    template <typename maker>
    void fail(maker const& make) noexcept {
        parser_error = 1;
        try {
            make();
        } catch (...) {
            return;
        }
    }
};

namespace {

constexpr char const* k_source = "code/lib/kivsys/src/readxml_base";

struct free_text {
    void operator()(xmlChar* text) const noexcept { xmlFree(text); }
};
using owned_text = std::unique_ptr<xmlChar, free_text>;

struct free_schema_context {
    void operator()(xmlRelaxNGParserCtxt* context) const noexcept {
        xmlRelaxNGFreeParserCtxt(context);
    }
};

struct free_schema {
    void operator()(xmlRelaxNG* schema) const noexcept { xmlRelaxNGFree(schema); }
};

// The XML library would fetch a document with such a path from the network.
bool is_remote(std::string const& path) {
    return strncasecmp(path.c_str(), "http://", 7) == 0 ||
           strncasecmp(path.c_str(), "ftp://", 6) == 0;
}

// Members go in the order that the XML library asks for: the schema before its context.
class relaxng_validator final : public reader_base::validator {
  public:
    explicit relaxng_validator(std::string const& path)
        : context(xmlRelaxNGNewParserCtxt(path.c_str())) {
        if (!context) {
            morbase::es::call::raise(k_source, __LINE__,
                                     morbase::string_with_format(
                                         "Could not create parser context for \"%s\"", path.c_str())
                                         .c_str());
        }
        if (!is_remote(path)) {
            schema.reset(xmlRelaxNGParse(context.get()));
        }
        if (!schema) {
            morbase::es::call::raise(
                k_source, __LINE__,
                morbase::string_with_format("Could not parse \"%s\"", path.c_str()).c_str());
        }
    }

    xmlRelaxNG* get() const noexcept { return schema.get(); }

  private:
    std::unique_ptr<xmlRelaxNGParserCtxt, free_schema_context> context;
    std::unique_ptr<xmlRelaxNG, free_schema> schema;
};

// The XML library asks to be prepared by one thread before several use it. It does not
// prepare the types of its schemas by itself, and their first use would race.
void prepare_xml_library() {
    static bool const prepared = [] {
        xmlInitParser();
        xmlSchemaInitTypes();
        if (xmlRelaxNGInitTypes() != 0) {
            throw std::bad_alloc();
        }
        return true;
    }();
    static_cast<void>(prepared);
}

// The calling thread's last error in the XML library, which is the host's: set aside while
// this lives. A call of the XML library then leaves an error of its own or none.
class last_error_aside {
  public:
    last_error_aside() noexcept
        // Later releases of the XML library give the thread's own error as a constant.
        // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast)
        : last(const_cast<xmlError*>(xmlGetLastError())) {
        if (last != nullptr) {
            saved = std::exchange(*last, xmlError{});
        }
    }
    ~last_error_aside() {
        xmlResetLastError();
        if (saved) {
            *last = *saved;
        }
    }

    last_error_aside(last_error_aside const&) = delete;
    last_error_aside& operator=(last_error_aside const&) = delete;

  private:
    xmlError* last;  // the thread's own; null while it has no error
    std::optional<xmlError> saved;
};

// The calling thread's handler of structured errors, which is the host's: set aside while
// this lives. The XML library would report to it and not to the reader.
class error_handler_aside {
  public:
    error_handler_aside() noexcept : handler(xmlStructuredError) {
        if (handler != nullptr) {  // rarely: each question about a thread's state takes time
            context = xmlStructuredErrorContext;
            xmlSetStructuredErrorFunc(nullptr, nullptr);
        }
    }
    ~error_handler_aside() {
        if (handler != nullptr) {
            xmlSetStructuredErrorFunc(context, handler);
        }
    }

    error_handler_aside(error_handler_aside const&) = delete;
    error_handler_aside& operator=(error_handler_aside const&) = delete;

  private:
    xmlStructuredErrorFunc handler;
    void* context = nullptr;
};

xmlChar const* as_xml(char const* text) {
    return reinterpret_cast<xmlChar const*>(text);
}

// Copies what the XML library gave; nothing given leaves out as it is.
bool copy_text(xmlChar const* text, std::string& out) {
    if (text == nullptr) {
        return false;
    }
    out.assign(reinterpret_cast<char const*>(text));
    return true;
}

// Copies a text that `ask` has the XML library make. Raises std::bad_alloc when memory ran
// out, which only the last error shows: the text is then null or empty.
template <typename question>
bool copy_made_text(question const& ask, std::string& out) {
    last_error_aside const aside;
    owned_text const text(ask());
    xmlError const* const last = xmlGetLastError();
    if (last != nullptr && last->code == XML_ERR_NO_MEMORY) {
        throw std::bad_alloc();
    }
    return copy_text(text.get(), out);
}

void require_extension(std::string const& schema) {
    if (schema.rfind('.') == std::string::npos) {
        morbase::es::arg::raise(
            k_source, __LINE__,
            morbase::string_with_format(
                "File \"%s\" is missing extension, could not determine validation type",
                schema.c_str())
                .c_str());
    }
}

}  // namespace

reader_base::validator::~validator() = default;

void reader_base::close_document::operator()(_xmlTextReader* open) const noexcept {
    xmlFreeTextReader(open);
}

// Gives the XML library the document's next bytes. It asks for more while it cannot parse the
// ones that it has.
int reader_base::parse_state::give_bytes(void* self, char* target, int capacity) noexcept {
    auto* const state = static_cast<parse_state*>(self);
    if (state->awaits_too_long_a_piece()) {
        state->fail([=] {
            state->message = morbase::string_with_format(
                "line %d: a tag, section, internal subset or processing instruction is longer "
                "than %zu bytes",
                xmlTextReaderGetParserLineNumber(state->parser), state->document.longest_piece);
        });
        return -1;
    }
    std::size_t const count =
        state->document.text.copy(target, static_cast<std::size_t>(capacity), state->given);
    state->given += count;
    return static_cast<int>(count);
}

bool reader_base::parse_state::awaits_too_long_a_piece() {
    std::pair<int, int> const now(xmlTextReaderGetParserLineNumber(parser),
                                  xmlTextReaderGetParserColumnNumber(parser));
    if (place != now) {
        place = now;
        given_here = given;
    }
    return given - given_here > document.longest_piece && !awaits_end_of_comment();
}

// A comment is parsed in one go as well, in a time that grows with its length alone. Where one
// begins is known if the XML library takes the bytes as they are.
bool reader_base::parse_state::awaits_end_of_comment() {
    std::string_view const text(document.text);
    auto const* const encoding = reinterpret_cast<char const*>(xmlTextReaderConstEncoding(parser));
    bool const is_wide = text.size() > 1 && text[1] == '\0';
    if (is_wide || (encoding != nullptr && strcasecmp(encoding, "UTF-8") != 0)) {
        return false;
    }
    auto const parsed = static_cast<std::size_t>(xmlTextReaderByteConsumed(parser));
    if (comment_end <= parsed && parsed < given && text.substr(parsed, 4) == "<!--") {
        comment_end = std::min(text.find("-->", parsed), text.size());
    }
    return parsed < comment_end && given <= comment_end + document.longest_piece;
}

// Asked after each advance, up to the first element: the document type comes before it.
void reader_base::parse_state::bound_document_type() {
    if (parser == nullptr || !in_prolog) {
        return;
    }
    xmlNode const* const node = xmlTextReaderCurrentNode(parser);
    in_prolog = node != nullptr && node->type != XML_ELEMENT_NODE;
    if (!in_prolog || node->type != XML_DTD_NODE) {
        return;
    }
    std::size_t count = 0;
    for (xmlNode const* child = node->children; child != nullptr; child = child->next) {
        count += child->type == XML_ATTRIBUTE_DECL ? 1 : 0;
    }
    if (count > document.most_declared_attributes) {
        fail([=] {
            message =
                morbase::string_with_format("the document type declares more than %zu attributes",
                                            document.most_declared_attributes);
        });
    }
}

void reader_base::parse_state::keep(char const* msg, xmlParserSeverities severity) {
    switch (severity) {
        case XML_PARSER_SEVERITY_WARNING:
        case XML_PARSER_SEVERITY_ERROR:
            message = morbase::string_with_format("Parser error: \"%s\"", msg);
            break;
        case XML_PARSER_SEVERITY_VALIDITY_WARNING:
        case XML_PARSER_SEVERITY_VALIDITY_ERROR:
            message = morbase::string_with_format("Validity error: \"%s\"", msg);
            break;
        default:
            break;
    }
}

void reader_base::parse_state::parser_error_func(void* self, char const* msg,
                                                 xmlParserSeverities severity,
                                                 void* /*locator*/) noexcept {
    std::printf("(readxml_base) error func called with msg: %s\n", msg);
    std::fflush(stdout);
    std::printf("sev: %d\n", static_cast<int>(severity));
    std::fflush(stdout);

    auto* const state = static_cast<parse_state*>(self);
    state->fail([=] { state->keep(msg, severity); });
}

reader_base::reader_base(std::string const& path) : state(std::make_unique<parse_state>()) {
    reader_base::create_reader(path);
}

reader_base::reader_base(std::string const& path, e_validation_type type, std::string const& schema)
    : reader_base(path) {
    reader_base::set_validation(type, schema);
}

reader_base::reader_base(std::string const& path, std::string const& schema) : reader_base(path) {
    require_extension(schema);
}

reader_base::reader_base(memory_document whole, std::string const& schema)
    : state(std::make_unique<parse_state>()) {
    state->document = std::move(whole);
    std::string const& path = state->document.path;
    prepare_xml_library();
    last_error_aside const aside;
    open(xmlReaderForIO(parse_state::give_bytes, nullptr, state.get(), path.c_str(), nullptr,
                        XML_PARSE_NONET),
         path);
    state->parser = document.get();
    require_extension(schema);
}

// The schema must outlive the document that is validated against it.
reader_base::~reader_base() {
    document.reset();
}

void reader_base::create_reader(std::string const& path) {
    prepare_xml_library();
    state->parser = nullptr;
    last_error_aside const aside;
    open(is_remote(path) ? nullptr : xmlReaderForFile(path.c_str(), nullptr, XML_PARSE_NONET),
         path);
}

void reader_base::open(_xmlTextReader* opened, std::string const& path) {
    document.reset(opened);
    if (!document) {
        morbase::es::call::raise(
            k_source, __LINE__,
            morbase::string_with_format("Could not create xml reader for \"%s\"", path.c_str())
                .c_str());
    }
    xmlTextReaderSetErrorHandler(document.get(), parse_state::parser_error_func, state.get());
}

void reader_base::set_validation(e_validation_type type, std::string const& schema) {
    switch (type) {
        case k_validation_xml_schema:
            morbase::es::unsupp::raise(
                k_source, __LINE__,
                morbase::string_with_format("XML Schemas not supported \"%s\"", schema.c_str())
                    .c_str());
        case k_validation_relaxng: {
            last_error_aside const aside;
            auto relaxng = std::make_unique<relaxng_validator>(schema);
            // Refused after the first advance: the document then goes on with the one it has.
            if (xmlTextReaderRelaxNGSetSchema(document.get(), relaxng->get()) == 0) {
                schema_validator = std::move(relaxng);
            }
            break;
        }
        case k_validation_dtd:
            // Later, the XML library would check the rest of the document against what it has
            // not kept of the type declaration.
            if (xmlTextReaderReadState(document.get()) == XML_TEXTREADER_MODE_INITIAL) {
                xmlTextReaderSetParserProp(document.get(), XML_PARSER_VALIDATE, 1);
            }
            break;
        default:
            break;
    }
}

bool reader_base::read() {
    return advance(xmlTextReaderRead);
}

bool reader_base::skip() {
    return advance(xmlTextReaderNext);
}

bool reader_base::advance(int (*step)(_xmlTextReader*)) {
    raise_if_reported();
    if (!document) {
        return false;
    }
    last_error_aside const error;
    error_handler_aside const handler;
    last_step = step(document.get());
    state->bound_document_type();
    return last_step == 1;
}

void reader_base::raise_if_reported() const {
    if (state->parser_error != 0) {
        morbase::es::arg::raise(k_source, __LINE__, state->message.c_str());
    }
}

void reader_base::raise_if_broken_off() const {
    if (last_step == 1) {
        return;
    }
    raise_if_reported();
    if (last_step < 0) {
        morbase::es::arg::raise(k_source, __LINE__,
                                "Parser error: \"the document could not be read to its end\"");
    }
}

reader::reader(std::string const& path) : reader_base(path) {}

reader::reader(std::string const& path, e_validation_type type, std::string const& schema)
    : reader_base(path, type, schema) {}

reader::reader(std::string const& path, std::string const& schema) : reader_base(path, schema) {}

reader::reader(memory_document whole, std::string const& schema)
    : reader_base(std::move(whole), schema) {}

reader::~reader() = default;

bool reader::next_node() {
    return read();
}

bool reader::skip_node() {
    return skip();
}

bool reader::skip_to_node(e_node_type type) {
    while (get_type() != type) {
        if (!next_node()) {
            return false;
        }
    }
    return true;
}

reader::e_node_type reader::get_type() const {
    return static_cast<e_node_type>(xmlTextReaderNodeType(get_xmlTextReader()));
}

int reader::get_depth() const {
    return xmlTextReaderDepth(get_xmlTextReader());
}

bool reader::get_name(std::string& name) const {
    // With a prefix, the constant name would be kept in the document's dictionary for good.
    _xmlTextReader* const open = get_xmlTextReader();
    if (xmlTextReaderConstPrefix(open) != nullptr) {
        return copy_made_text([=] { return xmlTextReaderName(open); }, name);
    }
    return copy_text(xmlTextReaderConstName(open), name);
}

bool reader::is_empty() const {
    return xmlTextReaderIsEmptyElement(get_xmlTextReader()) == 1;
}

bool reader::get_value(std::string& value) const {
    // The constant value of an attribute is empty where its entities are too large.
    _xmlTextReader* const open = get_xmlTextReader();
    if (xmlTextReaderNodeType(open) == XML_READER_TYPE_ATTRIBUTE) {
        return copy_made_text([=] { return xmlTextReaderValue(open); }, value);
    }
    return copy_text(xmlTextReaderConstValue(open), value);
}

bool reader::has_attributes() const {
    return xmlTextReaderHasAttributes(get_xmlTextReader()) == 1;
}

bool reader::next_attribute() const {
    return get_xmlTextReader() != nullptr &&
           xmlTextReaderMoveToNextAttribute(get_xmlTextReader()) == 1;
}

bool reader::get_attribute(char const* name, std::string& value) const {
    return copy_made_text(
        [&] { return xmlTextReaderGetAttribute(get_xmlTextReader(), as_xml(name)); }, value);
}

int reader::get_attribute_count() const {
    return xmlTextReaderAttributeCount(get_xmlTextReader());
}

bool reader::get_attribute(int index, std::string& value) const {
    return copy_made_text([&] { return xmlTextReaderGetAttributeNo(get_xmlTextReader(), index); },
                          value);
}

}  // namespace kivsys::xml
