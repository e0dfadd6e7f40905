#include "kivsys/readxml_base.h"

#include <strings.h>

#include <cstdio>
#include <new>
#include <utility>

#include <libxml/parser.h>
#include <libxml/relaxng.h>
#include <libxml/xmlreader.h>

#include <morbase/es.h>
#include <morbase/text.h>

namespace kivsys::xml {

struct reader_base::error_state {
    int parser_error = 0;
    std::string message;

    static void parser_error_func(void* state, char const* msg, xmlParserSeverities severity,
                                  void* locator) noexcept;
    void keep(char const* msg, xmlParserSeverities severity);
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

// The XML library asks to be prepared by one thread before several use it.
void prepare_xml_library() {
    static bool const prepared = (xmlInitParser(), true);
    static_cast<void>(prepared);
}

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

// Copies an attribute's text, asked for right after xmlResetLastError(): only that error
// tells want of memory, behind which the text may be none or an empty one. Raises
// std::bad_alloc.
bool copy_attribute(owned_text const& text, std::string& out) {
    xmlError const* const last = xmlGetLastError();
    if (last != nullptr && last->code == XML_ERR_NO_MEMORY) {
        throw std::bad_alloc();
    }
    return copy_text(text.get(), out);
}

}  // namespace

reader_base::validator::~validator() = default;

void reader_base::close_document::operator()(_xmlTextReader* open) const noexcept {
    xmlFreeTextReader(open);
}

void reader_base::error_state::keep(char const* msg, xmlParserSeverities severity) {
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

void reader_base::error_state::parser_error_func(void* state, char const* msg,
                                                 xmlParserSeverities severity,
                                                 void* /*locator*/) noexcept {
    std::printf("(readxml_base) error func called with msg: %s\n", msg);
    std::fflush(stdout);
    std::printf("sev: %d\n", static_cast<int>(severity));
    std::fflush(stdout);

    auto* errors = static_cast<error_state*>(state);
    errors->parser_error = 1;
    try {
        errors->keep(msg, severity);
    } catch (...) {
        // The caller is C code, which no exception may cross. The flag is set, so the
        // next advance raises all the same, with the text there is.
    }
}

reader_base::reader_base(std::string const& path) : errors(std::make_unique<error_state>()) {
    reader_base::create_reader(path);
}

reader_base::reader_base(std::string const& path, e_validation_type type, std::string const& schema)
    : reader_base(path) {
    reader_base::set_validation(type, schema);
}

reader_base::reader_base(std::string const& path, std::string const& schema) : reader_base(path) {
    if (schema.rfind('.') == std::string::npos) {
        morbase::es::arg::raise(
            k_source, __LINE__,
            morbase::string_with_format(
                "File \"%s\" is missing extension, could not determine validation type",
                schema.c_str())
                .c_str());
    }
}

// The schema must outlive the document that is validated against it.
reader_base::~reader_base() {
    document.reset();
}

void reader_base::create_reader(std::string const& path) {
    prepare_xml_library();
    document.reset(is_remote(path) ? nullptr
                                   : xmlReaderForFile(path.c_str(), nullptr, XML_PARSE_NONET));
    if (!document) {
        morbase::es::call::raise(
            k_source, __LINE__,
            morbase::string_with_format("Could not create xml reader for \"%s\"", path.c_str())
                .c_str());
    }
    xmlTextReaderSetErrorHandler(document.get(), error_state::parser_error_func, errors.get());
}

void reader_base::set_validation(e_validation_type type, std::string const& schema) {
    switch (type) {
        case k_validation_xml_schema:
            morbase::es::unsupp::raise(
                k_source, __LINE__,
                morbase::string_with_format("XML Schemas not supported \"%s\"", schema.c_str())
                    .c_str());
        case k_validation_relaxng: {
            auto relaxng = std::make_unique<relaxng_validator>(schema);
            // Refused after the first advance: the document then goes on with the one it has.
            if (xmlTextReaderRelaxNGSetSchema(document.get(), relaxng->get()) == 0) {
                schema_validator = std::move(relaxng);
            }
            break;
        }
        case k_validation_dtd:
            xmlTextReaderSetParserProp(document.get(), XML_PARSER_VALIDATE, 1);
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
    last_step = step(document.get());
    return last_step == 1;
}

void reader_base::raise_if_reported() const {
    if (errors->parser_error != 0) {
        morbase::es::arg::raise(k_source, __LINE__, errors->message.c_str());
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
    return copy_text(xmlTextReaderConstName(get_xmlTextReader()), name);
}

bool reader::is_empty() const {
    return xmlTextReaderIsEmptyElement(get_xmlTextReader()) == 1;
}

bool reader::get_value(std::string& value) const {
    return copy_text(xmlTextReaderConstValue(get_xmlTextReader()), value);
}

bool reader::has_attributes() const {
    return xmlTextReaderHasAttributes(get_xmlTextReader()) == 1;
}

bool reader::next_attribute() const {
    return get_xmlTextReader() != nullptr &&
           xmlTextReaderMoveToNextAttribute(get_xmlTextReader()) == 1;
}

bool reader::get_attribute(char const* name, std::string& value) const {
    xmlResetLastError();
    owned_text const text(xmlTextReaderGetAttribute(get_xmlTextReader(), as_xml(name)));
    return copy_attribute(text, value);
}

int reader::get_attribute_count() const {
    return xmlTextReaderAttributeCount(get_xmlTextReader());
}

bool reader::get_attribute(int index, std::string& value) const {
    xmlResetLastError();
    owned_text const text(xmlTextReaderGetAttributeNo(get_xmlTextReader(), index));
    return copy_attribute(text, value);
}

}  // namespace kivsys::xml
