#include "kivsys/readxml_base.h"

#include <strings.h>

#include <cstdio>
#include <new>
#include <optional>
#include <utility>

#include <libxml/relaxng.h>
#include <libxml/xmlreader.h>

#include <morbase/es.h>
#include <morbase/text.h>

#include "bounded_document.h"
#include "kivsys/host_errors_aside.h"
#include "last_error.h"
#include "prepare_library.h"
#include "utf8_text.h"

namespace kivsys::xml {

struct reader_base::parse_state {
    bool has_failed = false;
    std::string message;
    report_handler handler{};  // empty: reports are printed

    utf8_document in_memory{};                  // empty if the XML library reads a path
    std::optional<bounded_document> bounded{};  // the same document, if it needs limits
    _xmlTextReader* parser = nullptr;           // null until it is created

    void watch_bounds();
    static int give_bytes(void* self, char* target, int capacity) noexcept;

    static void parser_error_func(void* self, char const* msg, xmlParserSeverities severity,
                                  void* locator) noexcept;
    void keep(char const* msg, xmlParserSeverities severity);
    void pass_on(char const* msg, xmlParserSeverities severity) const;

    // Makes the next advance raise the message that `make` sets. Callbacks use this, because
    // their caller is C code, which no exception may cross. If memory runs out, the message is
    // unchanged.
    template <typename maker>
    void fail(maker const& make) noexcept {
        has_failed = true;
        try {
            make();
        } catch (...) {
            return;
        }
    }
};

namespace {

// What morbase::es::base::file() returns for errors raised here.
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

// Members are destroyed in the order that the XML library requires: the schema before its
// context.
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

xmlChar const* as_xml(char const* text) {
    return reinterpret_cast<xmlChar const*>(text);
}

// Copies a text of the XML library. If it is null, returns false and leaves out unchanged.
bool copy_text(xmlChar const* text, std::string& out) {
    if (text == nullptr) {
        return false;
    }
    out.assign(reinterpret_cast<char const*>(text));
    return true;
}

// Copies a text that `ask` makes the XML library allocate. Raises std::bad_alloc if memory runs
// out. Only the last error shows that: the text is then null or empty.
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

// The severity of the last report. From 2.15 on, the XML library reports violations of a RelaxNG
// schema as the parser's errors. It does not report warnings about them.
xmlParserSeverities severity_of_last(xmlParserSeverities given) {
    xmlError const* const last = xmlGetLastError();
    bool const is_of_schema = last != nullptr && last->domain == XML_FROM_RELAXNGV;
    return is_of_schema ? XML_PARSER_SEVERITY_VALIDITY_ERROR : given;
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

int reader_base::parse_state::give_bytes(void* self, char* target, int capacity) noexcept {
    auto* const state = static_cast<parse_state*>(self);
    return state->bounded->give(state->parser, target, capacity);
}

// If the last advance exceeded a limit, makes the next one raise the message.
void reader_base::parse_state::watch_bounds() {
    std::string reason = bounded->exceeded(parser);
    if (!reason.empty()) {
        has_failed = true;
        message = std::move(reason);
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

void reader_base::parse_state::pass_on(char const* msg, xmlParserSeverities severity) const {
    if (handler) {
        xmlError const* const last = xmlGetLastError();
        // The parser and its namespaces have the column as their second number.
        bool const has_column = last != nullptr && (last->domain == XML_FROM_PARSER ||
                                                    last->domain == XML_FROM_NAMESPACE);
        handler(severity, msg, last != nullptr ? last->line : 0, has_column ? last->int2 : 0);
    }
}

void reader_base::parse_state::parser_error_func(void* self, char const* msg,
                                                 xmlParserSeverities severity,
                                                 void* /*locator*/) noexcept {
    severity = severity_of_last(severity);
    auto* const state = static_cast<parse_state*>(self);
    if (!state->handler) {
        std::printf("(readxml_base) error func called with msg: %s\n", msg);
        std::fflush(stdout);
        std::printf("sev: %d\n", static_cast<int>(severity));
        std::fflush(stdout);
    }
    state->fail([=] { state->keep(msg, severity); });
    state->fail([=] { state->pass_on(msg, severity); });
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
    char const* const path = whole.path.c_str();
    utf8_document& in_memory = state->in_memory;
    prepare_library();
    last_error_aside const aside;
    in_memory = utf8_text(std::move(whole.text));
    int const options =
        XML_PARSE_NONET | (in_memory.is_declaration_only ? 0 : XML_PARSE_IGNORE_ENC);
    if (bounded_document::needs_no_bounds(in_memory)) {
        open(xmlReaderForMemory(in_memory.text.data(), static_cast<int>(in_memory.text.size()),
                                path, nullptr, options),
             whole.path);
    } else {
        state->bounded.emplace(in_memory);
        open(xmlReaderForIO(parse_state::give_bytes, nullptr, state.get(), path, nullptr, options),
             whole.path);
        state->parser = document.get();
    }
    require_extension(schema);
}

// The schema must outlive the document that is validated against it.
reader_base::~reader_base() {
    document.reset();
}

void reader_base::create_reader(std::string const& path) {
    prepare_library();
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
            // This fails after the first advance; then the document keeps its present schema.
            if (xmlTextReaderRelaxNGSetSchema(document.get(), relaxng->get()) == 0) {
                schema_validator = std::move(relaxng);
            }
            break;
        }
        case k_validation_dtd:
            // Only before the first advance: later, the XML library would check against parts of
            // the type declaration that it has not kept.
            if (xmlTextReaderReadState(document.get()) == XML_TEXTREADER_MODE_INITIAL) {
                xmlTextReaderSetParserProp(document.get(), XML_PARSER_VALIDATE, 1);
            }
            break;
        default:
            break;
    }
}

void reader_base::set_report_handler(report_handler handler) {
    state->handler = std::move(handler);
}

bool reader_base::read() {
    return advance(xmlTextReaderRead);
}

bool reader_base::skip() {
    if (!state->bounded) {
        return advance(xmlTextReaderNext);
    }
    // Advance node by node, because the nodes that are skipped count towards the limits.
    xmlTextReaderMoveToElement(document.get());
    int const depth = xmlTextReaderDepth(document.get());
    if (xmlTextReaderNodeType(document.get()) == k_node_element &&
        xmlTextReaderIsEmptyElement(document.get()) == 0) {
        while (advance(xmlTextReaderRead) && xmlTextReaderDepth(document.get()) > depth) {
        }
    }
    return advance(xmlTextReaderRead);
}

bool reader_base::advance(int (*step)(_xmlTextReader*)) {
    raise_if_reported();
    if (!document) {
        return false;
    }
    host_errors_aside const aside;
    last_step = step(document.get());
    if (state->bounded) {
        state->watch_bounds();
    }
    return last_step == 1;
}

void reader_base::raise_if_reported() const {
    if (state->has_failed) {
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
    // The const function would keep a name with a prefix in the document's dictionary for good.
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
    // The const function returns an empty value for an attribute whose entities are too large.
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
