#include "bounded_document.h"

#include <algorithm>
#include <cstring>
#include <numeric>
#include <string_view>

#include <libxml/tree.h>
#include <libxml/xmlreader.h>

#include <morbase/text.h>

#include "entity_bounds.h"

namespace kivsys::xml {

namespace {

// The XML library parses each piece in one go. The time can grow with the square of its length;
// for comments the factor is small.
constexpr std::size_t k_longest_piece = 32U << 10U;
constexpr std::size_t k_longest_comment = 2U << 20U;

// The XML library keeps all names in a hash table that soon stops growing.
constexpr std::size_t k_most_named = 500000;

// For each element, it reads all attributes that are declared for it.
constexpr std::size_t k_most_declared_attributes = 64;

// For each attribute, it reads every attribute of the same element. For each name with a prefix,
// it reads every namespace declared on the element and its ancestors. For each attribute that
// refers to ids, it reads every earlier one.
constexpr std::size_t k_most_attributes_around = 1024;
constexpr std::size_t k_most_attributes = 500000;
constexpr std::size_t k_most_attributes_with_references = 5000;

// An attribute takes at least five bytes: one for its name, "=", two quotes and a blank.
constexpr std::size_t k_small_document = k_most_attributes_around * 4;

// Such declarations cost time for each element, even if it does not have the attribute.
bool is_in_namespace(xmlAttribute const& declared) {
    return xmlStrEqual(declared.name, BAD_CAST "xmlns") != 0 ||
           (declared.prefix != nullptr && xmlStrEqual(declared.prefix, BAD_CAST "xml") == 0);
}

bool declares_type(std::string const& text) {
    return memmem(text.data(), text.size(), "<!DOCTYPE", 9) != nullptr;
}

}  // namespace

bool bounded_document::needs_no_bounds(utf8_document const& document) noexcept {
    return document.text.size() <= k_small_document && document.failure.empty() &&
           !declares_type(document.text);
}

bounded_document::bounded_document(utf8_document const& document)
    : whole(document.text), failure(document.failure), most_attributes(k_most_attributes) {
    bound_entities(whole);
}

int bounded_document::give(_xmlTextReader* parser, char* target, int capacity) noexcept {
    std::pair<int, int> const now(xmlTextReaderGetParserLineNumber(parser),
                                  xmlTextReaderGetParserColumnNumber(parser));
    if (place != now) {
        place = now;
        given_here = given;
    }
    if (given - given_here > k_longest_piece && !awaits_end_of_comment(parser)) {
        is_piece_too_long = true;
        return -1;
    }
    std::size_t const count = whole.copy(target, static_cast<std::size_t>(capacity), given);
    given += count;
    has_failed = count == 0 && !failure.empty();
    return has_failed ? -1 : static_cast<int>(count);
}

bool bounded_document::awaits_end_of_comment(_xmlTextReader* parser) noexcept {
    auto const parsed = static_cast<std::size_t>(xmlTextReaderByteConsumed(parser));
    if (comment_end <= parsed && parsed < given && whole.compare(parsed, 4, "<!--") == 0) {
        comment_end = parsed + std::min(std::string_view(whole).substr(parsed).find("-->"),
                                        k_longest_comment);
    }
    return parsed < comment_end && given <= comment_end + k_longest_piece;
}

std::string bounded_document::exceeded(_xmlTextReader* parser) {
    if (is_piece_too_long) {
        return morbase::string_with_format(
            "line %d: a tag, CDATA section, internal subset or processing instruction is longer "
            "than %zu bytes, or a comment is longer than %zu bytes",
            place.first, k_longest_piece, k_longest_comment);
    }
    if (has_failed) {
        return failure;
    }
    switch (xmlTextReaderNodeType(parser)) {
        case XML_READER_TYPE_DOCUMENT_TYPE:
            return exceeded_by_type(parser);
        case XML_READER_TYPE_PROCESSING_INSTRUCTION:
            return exceeded_by_names();
        case XML_READER_TYPE_ELEMENT: {
            std::string reason = exceeded_by_names();
            return reason.empty() ? exceeded_by_attributes(parser) : reason;
        }
        default:
            return {};
    }
}

std::string bounded_document::exceeded_by_names() {
    return ++named > k_most_named
               ? morbase::string_with_format(
                     "the document has more than %zu elements and processing instructions",
                     k_most_named)
               : std::string();
}

std::string bounded_document::exceeded_by_type(_xmlTextReader* parser) {
    std::size_t count = 0;
    xmlNode const* const type = xmlTextReaderCurrentNode(parser);
    for (xmlNode const* child = type->children; child != nullptr; child = child->next) {
        if (child->type == XML_ATTRIBUTE_DECL) {
            auto const& declared = *reinterpret_cast<xmlAttribute const*>(child);
            if (declared.atype == XML_ATTRIBUTE_IDREF || declared.atype == XML_ATTRIBUTE_IDREFS) {
                most_attributes = k_most_attributes_with_references;
            }
            if (is_in_namespace(declared)) {
                return "the document type declares a namespace, or an attribute with a prefix";
            }
            ++count;
        }
    }
    if (count > k_most_declared_attributes) {
        return morbase::string_with_format("the document type declares more than %zu attributes",
                                           k_most_declared_attributes);
    }
    return {};
}

std::string bounded_document::exceeded_by_attributes(_xmlTextReader* parser) {
    auto const count = static_cast<std::size_t>(std::max(xmlTextReaderAttributeCount(parser), 0));
    around.resize(static_cast<std::size_t>(std::max(xmlTextReaderDepth(parser), 0)) + 1);
    around.back() = count;
    attributes += count;
    if (std::accumulate(around.begin(), around.end(), std::size_t{0}) > k_most_attributes_around) {
        return morbase::string_with_format(
            "an element and its ancestors have more than %zu attributes in total",
            k_most_attributes_around);
    }
    if (attributes > most_attributes) {
        return morbase::string_with_format(
            "the document has more than %zu attributes%s", most_attributes,
            most_attributes < k_most_attributes ? ", the limit if some refer to ids" : "");
    }
    return {};
}

}  // namespace kivsys::xml
