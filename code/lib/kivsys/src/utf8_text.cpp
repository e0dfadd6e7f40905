#include "utf8_text.h"

#include <strings.h>

#include <memory>
#include <new>
#include <string_view>
#include <utility>

#include <libxml/encoding.h>
#include <libxml/globals.h>
#include <libxml/tree.h>

#include <morbase/es.h>
#include <morbase/text.h>

namespace kivsys::xml {

namespace {

using namespace std::string_view_literals;

constexpr std::string_view k_declaration = "<?xml";
constexpr std::string_view k_byte_order_mark = "\xef\xbb\xbf";
constexpr char const* k_blanks = " \t\r\n";

struct close_handler {
    void operator()(xmlCharEncodingHandler* open) const noexcept { xmlCharEncCloseFunc(open); }
};
struct free_buffer {
    void operator()(xmlBuffer* buffer) const noexcept { xmlBufferFree(buffer); }
};
using owned_buffer = std::unique_ptr<xmlBuffer, free_buffer>;

// Suppresses the XML library's reports on this thread while it lives. The result of a conversion
// says enough.
class silence {
  public:
    silence() noexcept : handler(xmlStructuredError), context(xmlStructuredErrorContext) {
        xmlSetStructuredErrorFunc(nullptr, [](void*, auto*) {});
    }
    ~silence() { xmlSetStructuredErrorFunc(context, handler); }

    silence(silence const&) = delete;
    silence& operator=(silence const&) = delete;

  private:
    xmlStructuredErrorFunc handler;
    void* context;
};

// Uses the XML library's converters, because they know the same names and read bytes in the same
// way as its parser. They do not change the text, but do not accept a const one. Empty if the
// encoding is unknown.
utf8_document converted(std::string& text, std::string const& encoding) {
    silence const while_converting;
    std::unique_ptr<xmlCharEncodingHandler, close_handler> const converter(
        xmlFindCharEncodingHandler(encoding.c_str()));
    if (!converter) {
        return {};
    }
    owned_buffer const from(xmlBufferCreateStatic(text.data(), text.size()));
    owned_buffer const to(xmlBufferCreate());
    if (!from || !to) {
        throw std::bad_alloc();
    }
    utf8_document made;
    for (unsigned int left = 0; left != from->use && made.failure.empty();) {
        left = from->use;
        if (xmlCharEncInFunc(converter.get(), to.get(), from.get()) < 0) {
            made.failure = morbase::string_with_format(
                "the document is not valid in its encoding, \"%s\", at byte %zu", encoding.c_str(),
                text.size() - from->use);
        }
    }
    made.text.assign(reinterpret_cast<char const*>(to->content), to->use);
    return made;
}

bool starts_with(std::string_view text, std::string_view start) {
    return text.substr(0, start.size()) == start;
}

std::string without_mark(std::string text) {
    if (starts_with(text, k_byte_order_mark)) {
        text.erase(0, k_byte_order_mark.size());
    }
    return text;
}

// A document in one of these encodings is recognised by its first bytes. All other encodings
// except EBCDIC encode ASCII characters as ASCII does.
constexpr std::pair<std::string_view, char const*> k_wide[] = {
    {"\xff\xfe"sv, "UTF-16LE"}, {"\xfe\xff"sv, "UTF-16BE"}, {"<\0?\0"sv, "UTF-16LE"},
    {"\0<\0?"sv, "UTF-16BE"},   {"<\0\0\0"sv, "UCS-4LE"},   {"\0\0\0<"sv, "UCS-4BE"},
};

// The declaration names one of many variants. The declaration itself reads the same in all of
// them.
constexpr char const* k_any_ebcdic = "IBM037";
constexpr std::string_view k_start_in_ebcdic = "\x4c\x6f\xa7\x94";
constexpr std::string_view k_end_in_ebcdic = "on";  // the bytes of "?>" in EBCDIC

std::string wide_encoding_of(std::string_view text) {
    for (auto const& [first_bytes, encoding] : k_wide) {
        if (starts_with(text, first_bytes)) {
            return encoding;
        }
    }
    return {};
}

// The encoding in the XML declaration at the start of the text; empty if there is none.
std::string declared_encoding_of(std::string_view text) {
    std::string_view const declaration = text.substr(0, text.find("?>"));
    std::size_t const name = declaration.find("encoding");
    if (!starts_with(text, k_declaration) || text.find_first_of(k_blanks) != 5 ||
        name == std::string_view::npos) {
        return {};
    }
    std::size_t const quote = declaration.find_first_of(R"('")", name);
    std::size_t const end =
        quote == std::string_view::npos ? quote : declaration.find(declaration[quote], quote + 1);
    return end == std::string_view::npos
               ? std::string()
               : std::string(declaration.substr(quote + 1, end - quote - 1));
}

std::string encoding_of(std::string const& text) {
    std::string encoding = wide_encoding_of(text);
    if (encoding.empty() && starts_with(text, k_start_in_ebcdic)) {
        std::string declaration = text.substr(0, text.find(k_end_in_ebcdic));
        encoding = declared_encoding_of(converted(declaration, k_any_ebcdic).text + "?>");
        return encoding.empty() ? k_any_ebcdic : encoding;
    }
    return encoding.empty() ? declared_encoding_of(text) : encoding;
}

bool is_utf8(std::string const& encoding) {
    return encoding.empty() || strcasecmp(encoding.c_str(), "UTF-8") == 0 ||
           strcasecmp(encoding.c_str(), "UTF8") == 0;
}

}  // namespace

utf8_document utf8_text(std::string text) {
    text = without_mark(std::move(text));
    std::string const encoding = encoding_of(text);
    if (is_utf8(encoding) && !starts_with(text, k_start_in_ebcdic)) {
        return {std::move(text)};
    }
    utf8_document made = converted(text, encoding);
    made.text = without_mark(std::move(made.text));
    if (starts_with(text, k_declaration) && !starts_with(made.text, k_declaration)) {
        return {text.substr(0, text.find('>')) + '>', {}, true};
    }
    if (!wide_encoding_of(made.text).empty()) {
        std::string const reason = "the document is encoded twice, the second time in " + encoding;
        morbase::es::arg::raise("code/lib/kivsys/src/utf8_text", __LINE__, reason.c_str());
    }
    return made;
}

}  // namespace kivsys::xml
