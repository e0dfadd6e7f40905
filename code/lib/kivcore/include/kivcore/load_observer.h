// Receives what happens while a registry loads plug-in directories; see plugins::load_plugin and
// plugins::load_plugins. Derive from it and override what you want to know. Nothing is printed
// for a load that is observed.
//
// The loading thread calls these functions when it has finished a directory. It then holds no
// lock and has no document open, so an observer may use the registry. Exceptions of an observer
// are dropped. Strings are valid only during the call.

#ifndef KIVCORE_LOAD_OBSERVER_H
#define KIVCORE_LOAD_OBSERVER_H

#include <string>

#include <kivcore/export.h>

namespace kivcore {

class KIVCORE_API load_observer {
  public:
    virtual ~load_observer();

    // The entry `directory` of a directory of plug-ins was not looked at, because it is hidden or
    // is not a directory.
    virtual void passed_over(std::string const& directory, std::string const& reason);

    // The description was read to its end. Called last for this directory. Ids may have been
    // refused.
    virtual void loaded(std::string const& directory);

    // The directory failed to load. Called last for this directory. Plug-ins that were registered
    // before stay. Also called for a directory of plug-ins that cannot be listed.
    virtual void failed(std::string const& directory, std::string const& reason);

    // A plug-in was registered under an id that was free.
    virtual void registered(std::string const& directory, std::string const& id);

    // A native plug-in took over an id from another one. previous_directory is empty if that one
    // was registered by hand.
    virtual void replaced(std::string const& directory, std::string const& id,
                          std::string const& previous_directory);

    // An id was not registered. holder_directory has the plug-in that holds the id; it is empty
    // if that one was registered by hand. A refusal is reported for each id after it in the same
    // plugin element too, without a holder: they are not registered either.
    virtual void refused(std::string const& directory, std::string const& id,
                         std::string const& holder_directory, std::string const& reason);

    // The XML library reported something about the description. severity is the XML library's
    // number: 3 for a warning, 4 for an error; or, about validity, 1 and 2. line and column count
    // from 1; 0 means unknown.
    virtual void xml_report(std::string const& directory, int severity, std::string const& message,
                            int line, int column);
};

}  // namespace kivcore

#endif
