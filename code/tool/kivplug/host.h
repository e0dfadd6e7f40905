// The registry of one run: filled from the search path, asked by every verb.

#ifndef KIVPLUG_HOST_H
#define KIVPLUG_HOST_H

#include <functional>
#include <string>
#include <vector>

#include <kivcore/instance.h>
#include <kivcore/plugins.h>
#include <morbase/ptr_refcount.h>

namespace kivplug {

// What the interfaces are called that are readers too, and whose kind() says no more.
constexpr char const* k_kind_frame_reader = "frame_reader";
constexpr char const* k_kind_multi_file_reader = "multi_file_reader";

class host {
  public:
    // Loads the plug-ins of what chosen_path makes of the directories.
    explicit host(std::vector<std::string> const& directories);

    // Whether all of them loaded. What was wrong with the others has been printed.
    bool is_complete() const noexcept { return complete; }

    kivcore::plugins const& registry() const noexcept { return *loaded; }

    // The id that wanted stands for: itself when it is registered, otherwise the first
    // that it matches as a pattern, which of several versions is the newest. Raises a
    // failure when there is none.
    std::string resolve(std::string const& wanted) const;

    // A new object of the plug-in with this id. Raises a failure when the plug-in makes
    // none, or one of another kind than the Interface, and then says which verb fits;
    // `kind` is what the Interface is called.
    template <typename Interface>
    kivcore::instance<Interface> create(std::string const& id, std::string const& kind) const {
        kivcore::instance<Interface> made;
        creating(id, [&] { made = kivcore::create<Interface>(loaded, id); });
        if (!made) {
            fail_for_kind(id, kind);
        }
        return made;
    }

  private:
    // Calls `create` and turns what it throws into a failure that names the plug-in. Does
    // not call it when the shared object would end the process or block it.
    void creating(std::string const& id, std::function<void()> const& create) const;

    [[noreturn]] void fail_for_kind(std::string const& id, std::string const& wanted) const;

    morbase::ptr_refcount<kivcore::plugins> loaded;
    bool complete = false;
};

// The value of a description's key, or `absent`.
std::string value_of(kivcore::plugins::info const& description, std::string const& key,
                     std::string const& absent);

}  // namespace kivplug

#endif
