// The input is one line of steps, one letter each; then a document; then, after a form feed, a
// RelaxNG schema. The steps run in the order of the line, and then the document is read to its end.

#include <algorithm>
#include <iterator>

#include <kivsys/readxml_base.h>
#include <morbase/es.h>
#include <support/files.h>

#include "input.h"

namespace {

using kivsys::xml::reader;

constexpr int k_most_nodes = 1000;

struct session {
    std::string path;
    std::string schema;
    reader document;
};

// An operation that fills a string must not change it if it has no result.
template <typename question>
void ask(question const& fill) {
    std::string const untouched = "\x01";
    std::string text = untouched;
    fuzz::require(fill(text) == (text != untouched), "a string is filled or left unchanged");
}

void ask_name(session& on) {
    ask([&](std::string& out) { return on.document.get_name(out); });
}

void ask_value(session& on) {
    ask([&](std::string& out) { return on.document.get_value(out); });
}

// Also asks for attributes just outside both ends.
void ask_attributes(session& on) {
    int const count = on.document.get_attribute_count();
    for (int i = -1; i <= std::min(count, 8); ++i) {
        ask([&](std::string& out) { return on.document.get_attribute(i, out); });
    }
    for (char const* name : {"a", "xmlns", "x:a", ""}) {
        ask([&](std::string& out) { return on.document.get_attribute(name, out); });
    }
    fuzz::require(on.document.has_attributes() || count <= 0,
                  "the count is positive only if there are attributes");
}

void ask_place(session& on) {
    fuzz::require(on.document.get_depth() >= -1, "a depth is a number of levels or an error");
    on.document.is_empty();
}

struct {
    char letter;
    void (*take)(session&);
} const k_steps[] = {
    {'r', [](session& on) { on.document.next_node(); }},
    {'s', [](session& on) { on.document.skip_node(); }},
    {'e', [](session& on) { on.document.skip_to_node(reader::k_node_element); }},
    {'t', [](session& on) { on.document.skip_to_node(reader::k_node_text); }},
    {'n', ask_name},
    {'v', ask_value},
    {'a', ask_attributes},
    {'p', ask_place},
    {'w', [](session& on) { on.document.next_attribute(); }},
    {'b', [](session& on) { on.document.raise_if_broken_off(); }},
    {'D', [](session& on) { on.document.set_validation(reader::k_validation_dtd, on.schema); }},
    {'R', [](session& on) { on.document.set_validation(reader::k_validation_relaxng, on.schema); }},
    {'X',
     [](session& on) { on.document.set_validation(reader::k_validation_xml_schema, on.schema); }},
    {'O', [](session& on) { on.document.create_reader(on.path); }},
    {'M', [](session& on) { on.document.create_reader(on.path + "-missing"); }},
};

void take_step(session& on, char letter) {
    auto const* const step = std::find_if(std::begin(k_steps), std::end(k_steps),
                                          [=](auto const& of) { return of.letter == letter; });
    if (step == std::end(k_steps)) {
        return;
    }
    try {
        step->take(on);
    } catch (morbase::es::base const&) {
        return;  // refused; the reader stays usable
    }
}

void read_to_end(session& on) {
    for (int nodes = 0; nodes < k_most_nodes && on.document.next_node(); ++nodes) {
        ask_name(on);
        ask_value(on);
        ask_attributes(on);
        ask_place(on);
    }
    on.document.raise_if_broken_off();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    static support::temporary_directory const files;
    std::string const input = fuzz::text_of(data, size);
    std::size_t const document = std::min(input.find('\n'), size);
    std::size_t const schema = std::min(input.find('\f', document), size);
    files.write("document.xml", input.substr(document, schema - document).erase(0, 1));
    files.write("schema.rng", input.substr(schema).erase(0, 1));
    try {
        std::string const path = files.path("document.xml");
        session on{path, files.path("schema.rng"), reader(path)};
        for (char const letter : input.substr(0, document)) {
            take_step(on, letter);
        }
        read_to_end(on);
    } catch (morbase::es::base const&) {
        return 0;  // the document is broken
    }
    return 0;
}
