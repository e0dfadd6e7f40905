// The registry of one run: filled from the search path, asked by every verb.

#ifndef KIVPLUG_HOST_H
#define KIVPLUG_HOST_H

#include <string>
#include <vector>

#include <kivcore/instance.h>
#include <kivcore/plugins.h>
#include <morbase/ptr_refcount.h>

namespace kivplug {

class host {
  public:
    // Loads the plug-ins of what chosen_path makes of the directories.
    explicit host(std::vector<std::string> const& directories);

    // Whether all of them loaded. What was wrong with the others has been printed.
    bool is_complete() const noexcept { return complete; }

    kivcore::plugins const& registry() const noexcept { return *loaded; }

    // The id that is wanted: `wanted` itself when it is registered, otherwise the first that it
    // matches as a pattern, the newest of several versions. Raises a failure when there is none.
    std::string resolve(std::string const& wanted) const;

    // A new object of the plug-in with this id. Raises a failure when the plug-in makes
    // none, or one of another kind than the Interface, and then says which verb fits;
    // `kind` is what the Interface is called.
    template <typename Interface>
    kivcore::instance<Interface> create(std::string const& id, std::string const& kind) const {
        auto made = creating(id, [&] { return kivcore::create<Interface>(loaded, id); });
        if (!made) {
            fail_for_object(id, kind);
        }
        return made;
    }

  private:
    // Returns what `create` makes. Turns what it throws into a failure that names the plug-in, and
    // does not call it when opening the shared object would end or block the process.
    template <typename create_type>
    auto creating(std::string const& id, create_type const& create) const {
        require_sound_image(id);
        try {
            return create();
        } catch (...) {
            fail_for_throw(id);
        }
    }

    void require_sound_image(std::string const& id) const;
    [[noreturn]] void fail_for_throw(std::string const& id) const;
    [[noreturn]] void fail_for_object(std::string const& id, std::string const& wanted) const;

    morbase::ptr_refcount<kivcore::plugins> loaded;
    bool complete = false;
};

}  // namespace kivplug

#endif
