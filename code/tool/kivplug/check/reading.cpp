#include "reading.h"

#include <iconv.h>
#include <strings.h>

#include <algorithm>
#include <memory>
#include <string_view>
#include <utility>

#include <kivcore/factory.h>
#include <kivcore/loader.h>
#include <kivsys/host_errors_aside.h>
#include <kivsys/readxml_base.h>
#include <morbase/es.h>
#include <morbase/path.h>

#include "kivcore/src/description.h"
#include "markup_text.h"
#include "search_path.h"

namespace kivplug {

namespace {

using namespace std::string_view_literals;
using kivsys::xml::reader;

// A reader that knows at which element of the markup it is.
class placed_reader final : public reader {
  public:
    placed_reader(memory_document whole, markup const& known)
        : reader(std::move(whole), "plugin.rng"), places(known) {}

    bool read() override { return moved(reader::read()); }

    bool skip() override {
        if (get_type() == k_node_element && count > 0 && count <= places.elements().size()) {
            count = places.elements()[count - 1].next;
        }
        return moved(reader::skip());
    }

    // k_nowhere when the markup disagrees.
    std::size_t element() const {
        std::string name;
        bool const is_known = count > 0 && count <= places.elements().size() && get_name(name) &&
                              places.elements()[count - 1].name == name;
        return is_known ? count - 1 : k_nowhere;
    }

  private:
    bool moved(bool is_there) {
        count += is_there && get_type() == k_node_element ? 1 : 0;
        return is_there;
    }

    markup const& places;
    std::size_t count = 0;  // start tags so far
};

// As the library counts them.
class id_count {
  public:
    bool is_too_much(kivcore::plugins::info const& description) {
        std::string const keys = value_of(description, kivcore::k_keys);
        auto const separators = static_cast<std::size_t>(std::count(keys.begin(), keys.end(), '|'));
        std::size_t each = 4;
        for (char const* key :
             {kivcore::k_category, kivcore::k_type, kivcore::k_developer_id, kivcore::k_version}) {
            each += value_of(description, key).size();
        }
        count += separators == 0 ? 0 : separators + 1;
        bytes += separators == 0 ? 0 : keys.size() + (separators + 1) * each;
        return count > kivcore::k_most_ids || bytes > kivcore::k_most_bytes_of_ids;
    }

  private:
    std::size_t count = 0;
    std::size_t bytes = 0;
};

morbase::ptr_refcount<kivcore::plugins::info> description_at(placed_reader& document,
                                                             std::string const& directory) {
    morbase::ptr_refcount<kivcore::plugins::info> description;
    try {
        description = new kivcore::__info(document, directory);
    } catch (morbase::es::base const&) {
        document.raise_if_broken_off();
        throw;
    }
    document.raise_if_broken_off();
    return description;
}

// The walk of kivcore::plugins::load_plugin, without its registry.
void read_plugins(placed_reader& document, std::string const& directory, reading& result) {
    morbase::ptr_refcount<kivcore::loader> const image(
        new kivcore::loader(directory + "/darwin/x86/plugin.so"));
    id_count ids;
    std::string name;
    while (document.next_node()) {
        if (document.get_type() != reader::k_node_element || !document.get_name(name) ||
            name != kivcore::k_plugin_element) {
            continue;
        }
        std::size_t const element = document.element();
        auto const description = description_at(document, directory);
        if (ids.is_too_much(*description)) {
            result.failure = "the ids of the description are too many";
            return;
        }
        kivcore::create_factory(image, description);  // raises for a binding that is missing
        result.plugins.push_back({element, description});
    }
    document.raise_if_broken_off();
}

auto keeper_of(std::vector<xml_report>& reports) {
    return [&reports](int /*severity*/, std::string const& message, int line, int column) {
        reports.push_back({trimmed(message), line, column});
    };
}

struct close_converter {
    void operator()(void* open) const noexcept { iconv_close(open); }
};

utf8_copy converted(std::string text, std::string const& encoding) {
    auto* const opened = iconv_open("UTF-8", encoding.c_str());
    // NOLINTNEXTLINE(performance-no-int-to-ptr): the value that iconv_open gives for a failure
    if (opened == reinterpret_cast<iconv_t>(-1)) {
        return {text, encoding};
    }
    std::unique_ptr<void, close_converter> const converter(opened);
    std::string made(text.size() * 4, '\0');
    char* from = text.data();
    char* to = made.data();
    std::size_t left = text.size();
    std::size_t room = made.size();
    iconv(converter.get(), &from, &left, &to, &room);
    made.resize(made.size() - room);
    return {made, encoding, left == 0};
}

bool is_utf8(std::string const& encoding) {
    return strcasecmp(encoding.c_str(), "UTF-8") == 0 || strcasecmp(encoding.c_str(), "UTF8") == 0;
}

// Of more than one byte for each character.
bool is_wide(std::string const& encoding) {
    auto const starts_with = [&](std::string_view start) {
        return strncasecmp(encoding.c_str(), start.data(), start.size()) == 0;
    };
    return starts_with("UTF-16") || starts_with("UTF-32") || starts_with("UCS-") ||
           starts_with("ISO-10646-UCS-");
}

std::string declared_encoding(std::string const& text) {
    std::string const declaration = text.substr(0, text.find("?>"));
    std::size_t const name = declaration.find("encoding");
    std::size_t const quote = declaration.find_first_of("\"'", name);
    if (declaration.compare(0, 5, "<?xml") != 0 || quote == std::string::npos) {
        return {};
    }
    return declaration.substr(quote + 1,
                              declaration.find(declaration[quote], quote + 1) - quote - 1);
}

}  // namespace

reading read_description(std::string const& directory, std::string const& text,
                         markup const& places) {
    kivsys::xml::host_errors_aside const aside;
    reading result;
    try {
        placed_reader document({directory + "/plugin.xml", text}, places);
        document.set_report_handler(keeper_of(result.reports));
        read_plugins(document, directory, result);
    } catch (morbase::es::arg const& error) {
        result.failure = error.what();
        result.is_xml = true;
    } catch (morbase::es::base const& error) {
        result.failure = error.what();
    }
    return result;
}

std::vector<xml_report> schema_reports(std::string const& path, std::string const& text) {
    kivsys::xml::host_errors_aside const aside;
    std::vector<xml_report> reports;
    reader document({path, text}, "plugin.rng");
    document.set_report_handler(keeper_of(reports));
    document.set_validation(reader::k_validation_relaxng, installed_schema());
    try {
        while (document.next_node()) {
        }
    } catch (morbase::es::arg const&) {
        return reports;  // the walk ends at the first report
    }
    return reports;
}

utf8_copy utf8_copy_of(std::string const& text) {
    constexpr std::pair<std::string_view, char const*> k_wide[] = {{"\xff\xfe"sv, "UTF-16LE"},
                                                                   {"\xfe\xff"sv, "UTF-16BE"},
                                                                   {"<\0?\0"sv, "UTF-16LE"},
                                                                   {"\0<\0?"sv, "UTF-16BE"}};
    for (auto const& [start, encoding] : k_wide) {
        if (std::string_view(text).substr(0, start.size()) == start) {
            return converted(text.substr(start[0] == '<' || start[0] == '\0' ? 0 : 2), encoding);
        }
    }
    std::string const encoding = declared_encoding(text);
    bool const is_false = is_wide(encoding);  // its name was read in bytes
    std::string const start = text.substr(0, 3) == "\xef\xbb\xbf" ? text.substr(3) : text;
    return encoding.empty() || is_false || is_utf8(encoding) ? utf8_copy{start}
                                                             : converted(start, encoding);
}

}  // namespace kivplug
