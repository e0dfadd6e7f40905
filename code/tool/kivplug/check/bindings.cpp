#include "bindings.h"

#include <algorithm>
#include <cctype>

#include "kivcore/src/description.h"
#include "vocabulary.h"

namespace kivplug {

namespace {

constexpr std::size_t k_most_guesses = 100;

class binding_check {
  public:
    binding_check(intended_plugin& checked, reporter& list) : plugin(checked), to(list) {}

    void run() {
        check_symbols();
        std::string const flavor = meant_flavor();
        std::string type = kivcore::k_read;
        if (flavor == kivcore::k_native) {
            check_native_names();
        } else if (flavor == kivcore::k_c_style) {
            type = meant_c_type();
        }
        auto const served = functions_for(flavor, kivcore::k_io, type);
        if (!served.needed.empty()) {
            check_functions(served, flavor == kivcore::k_native
                                        ? "a native plug-in"
                                        : "a c-style plug-in of type " + named(type));
        }
    }

  private:
    fact const* sound(char const* key) const {
        auto const found = plugin.facts.find(key);
        return found != plugin.facts.end() && found->second.is_sound ? &found->second : nullptr;
    }

    // Empty if nobody can tell.
    std::string meant_flavor() {
        fact const* const flavor = sound(kivcore::k_flavor);
        if (flavor == nullptr) {
            return {};
        }
        std::string meant = meant_word(flavor->value, all_flavors());
        if (meant != flavor->value) {
            to.add(150, flavor->place,
                   "the library does not know the flavor " + named(flavor->value) +
                       "; such a plug-in makes no objects",
                   "write " + (meant.empty() ? all_named(all_flavors(), " or ") : named(meant)));
        }
        return meant;
    }

    // Of a c-style plug-in; empty if nobody can tell.
    std::string meant_c_type() {
        fact const* const category = sound(kivcore::k_category);
        fact const* const type = sound(kivcore::k_type);
        if (category != nullptr && category->value != kivcore::k_io) {
            report_not_served(*category, "category", kivcore::k_io);
        }
        if (type == nullptr) {
            return {};
        }
        std::string meant = meant_word(type->value, c_types());
        if (meant != type->value) {
            report_not_served(*type, "type",
                              meant.empty() ? all_named(c_types(), " or ") : named(meant));
        }
        return meant;
    }

    void report_not_served(fact const& text, char const* what, std::string const& right) {
        to.add(151, text.place,
               "the library serves no c-style plug-ins of the " + std::string(what) + " " +
                   named(text.value) + "; such a plug-in makes no objects",
               "write " + (right == kivcore::k_io ? named(right) : right) +
                   ", or make it a native plug-in");
    }

    // They may be of any category and type; but hosts ask for some.
    void check_native_names() {
        check_native_name(kivcore::k_category, {kivcore::k_io});
        check_native_name(kivcore::k_type, all_types());
    }

    void check_native_name(char const* key, words const& usual) {
        fact const* const text = sound(key);
        if (text == nullptr) {
            return;
        }
        std::string const meant = meant_word(text->value, usual);
        if (!meant.empty() && meant != text->value) {
            to.add(152, text->place,
                   "hosts look for " + named(meant) + ", not for " + named(text->value),
                   "write " + named(meant));
        }
    }

    void check_symbols() {
        for (auto& [function, binding] : plugin.bindings) {
            auto& symbol = binding.symbol;
            bool const is_name =
                std::all_of(symbol.value.begin(), symbol.value.end(), [](unsigned char each) {
                    return std::isalnum(each) != 0 || each >= 0x80 ||
                           std::string_view("_.$@").find(static_cast<char>(each)) !=
                               std::string_view::npos;
                });
            bool const starts_well = symbol.value.empty() ||
                                     std::isdigit(static_cast<unsigned char>(symbol.value[0])) == 0;
            if (symbol.is_sound && !(is_name && starts_well)) {
                to.add(157, symbol.place,
                       named(symbol.value) + ", bound to " + named(function) +
                           ", is not the name of a symbol",
                       "write the exported name of the function, without blanks, parentheses and "
                       "scopes");
                symbol.is_sound = false;
            }
        }
    }

    void check_functions(served_functions const& served, std::string const& served_plugin) {
        words known = served.needed;
        known.insert(known.end(), served.positioning.begin(), served.positioning.end());
        words bound;
        words unused;
        for (auto const& [function, binding] : plugin.bindings) {
            // Nobody reads about more.
            bool const is_guessed = unused.size() < k_most_guesses;
            std::string const meant = contains(known, function) ? function
                                      : is_guessed              ? meant_function(function, known)
                                                                : std::string();
            meant.empty() ? unused.push_back(function) : bound.push_back(meant);
            if (!meant.empty() && meant != function) {
                to.add(154, binding.place,
                       "the library does not know a function " + named(function),
                       "write " + named(meant));
            }
        }
        bool const is_complete =
            plugin.is_binding_broken || !report_missing(served, bound, served_plugin);
        for (auto const& function : unused) {
            // Those of another flavor or type are why others are missing.
            if (is_complete || !contains(all_functions(), function)) {
                to.add(155, plugin.bindings.at(function).place,
                       "the library does not call " + named(function) + " of " + served_plugin,
                       "remove the binding, or correct the flavor or the type");
            }
        }
    }

    // What is missing to position by; empty for nothing.
    static std::string positioning_missing(served_functions const& served, words const& bound) {
        if (served.positioning.empty() || contains(bound, kivcore::k_seek)) {
            return {};
        }
        bool const gets = contains(bound, kivcore::k_get_pos);
        bool const sets = contains(bound, kivcore::k_set_pos);
        if (gets && sets) {
            return {};
        }
        return gets   ? named(kivcore::k_set_pos)
               : sets ? named(kivcore::k_get_pos)
                      : named(kivcore::k_seek) + ", or both " + named(kivcore::k_get_pos) +
                            " and " + named(kivcore::k_set_pos);
    }

    // False when nothing is missing.
    bool report_missing(served_functions const& served, words const& bound,
                        std::string const& served_plugin) {
        words missing;
        std::copy_if(served.needed.begin(), served.needed.end(), std::back_inserter(missing),
                     [&](std::string const& each) { return !contains(bound, each); });
        std::string const positioning = positioning_missing(served, bound);
        if (missing.empty() && positioning.empty()) {
            return false;
        }
        std::string const list = all_named(missing) +
                                 (missing.empty() || positioning.empty() ? "" : ", and ") +
                                 positioning;
        std::size_t const place = plugin.interface != k_nowhere ? plugin.interface : plugin.element;
        to.add(153, to.places().elements()[place].start,
               served_plugin + " has to bind " + list +
                   "; the library stops reading the description there",
               "add an element \"bind\" for each, or correct the flavor or the type");
        return true;
    }

    // The function that somebody meant by another name; empty for none. One that is bound is not
    // meant a second time.
    std::string meant_function(std::string const& function, words const& known) const {
        words open;
        std::copy_if(known.begin(), known.end(), std::back_inserter(open),
                     [&](std::string const& each) { return plugin.bindings.count(each) == 0; });
        return contains(all_functions(), function) ? std::string() : meant_word(function, open);
    }

    intended_plugin& plugin;
    reporter& to;
};

}  // namespace

void check_bindings(intended_plugin& plugin, reporter& to) {
    binding_check(plugin, to).run();
}

}  // namespace kivplug
