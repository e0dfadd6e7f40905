// The registry of plug-ins, and the description of one plug-in.
//
// A registry maps each plug-in id to a factory and a description. Fill it from disk
// (load_plugins, load_plugin) or by hand (register_with_id), list it (find_plugins), read
// descriptions (describe_plugin) and create objects (create_with_id). It owns one reference to
// each factory and description in it. Entries are never removed. An entry is replaced only when a
// native plug-in takes over the id of a non-native one.
//
// A plug-in id is five fields joined by "/": category, type, key, developer id and version.
// Fields are used verbatim and may be empty.
//
// Any thread may call any operation of a registry. One mutex guards its table. It is held during
// each registration, look-up and creation, including the factory's create(), and while a search
// lists the ids. A create() that calls back into its own registry therefore raises es::call.
// Release the objects of a registry before the registry itself, and before a native plug-in takes
// over their id; kivcore::instance does this for you.
//
// The registry prints notices. Standard error gets the reason when a directory fails to load.
// Standard output gets refusals, replacements, and the XML library's reports on a description.
// The text of a refusal calls the plug-in that is present "native", whatever its flavor.
//
// Every operation except load_plugin may raise std::bad_alloc, besides what its comment says.

#ifndef KIVCORE_PLUGINS_H
#define KIVCORE_PLUGINS_H

#include <map>
#include <memory>
#include <string>
#include <vector>

#include <kivcore/export.h>
#include <kivcore/plugin.h>
#include <morbase/mutex.h>
#include <morbase/object_refcount.h>
#include <morbase/ptr_refcount.h>

namespace kivsys::xml {
class reader;
}

namespace kivcore {

class load_observer;
class notices;  // internal

class KIVCORE_API plugins : public morbase::object_refcount {
  public:
    class info;
    class factory;

    // An empty registry. root is the directory of the schema for descriptions, plugin.rng. The
    // path is only passed on: descriptions are not validated, and neither the directory nor the
    // file has to exist. If instances share the registry, create it with new and hold it in a
    // ptr_refcount.
    explicit plugins(std::string const& root);
    ~plugins() override;

    plugins(plugins const&) = delete;
    plugins& operator=(plugins const&) = delete;

    // Enters the pair under every id of the description: one id for each key that its
    // "interface.key" lists, separated by "|". description must not be null and must not be
    // changed afterwards. maker may be null if no factory serves the interface. If an id is taken
    // and the description may not replace the present entry, prints a notice and returns false at
    // once; the ids entered so far stay.
    bool register_with_info(morbase::ptr_refcount<info> description,
                            morbase::ptr_refcount<factory> maker);

    // Enters maker under id, with a description made from the id and the display name. Prints a
    // notice and returns false if id does not have five fields or is taken. An entry made this
    // way has no flavor, so a native plug-in with the same id replaces it.
    bool register_with_id(std::string const& id, morbase::ptr_refcount<factory> maker,
                          std::string const& name);

    // A new object of the plug-in with this id, owned by the caller. Null if the id is unknown,
    // if its entry has no factory, or if the factory returned null. Exceptions of the factory
    // pass through: es::call if the shared object cannot be opened, es::null if it lacks a
    // function, and whatever the plug-in's create function throws. The first object of a plug-in
    // opens its shared object; meanwhile other threads wait for the lock. Raises es::call if
    // called from a create() of this registry.
    morbase::ptr_refcount<plugin> create_with_id(std::string const& id);

    // The same, and also returns the factory that made the object. The factory keeps the shared
    // object open. maker is set as soon as a factory is found, even if that factory then returns
    // null or throws; otherwise it is unchanged.
    morbase::ptr_refcount<plugin> create_with_id(std::string const& id,
                                                 morbase::ptr_refcount<factory>& maker);

    // The ids that the regular expression (PCRE syntax) matches as a whole, sorted by
    // plugin_id_less: versions of one plug-in together, the newest first. Empty if the pattern
    // does not compile. The lock is held only while the ids are listed, not while they are
    // matched, so a slow pattern does not hold up other threads.
    //
    // A search has a budget of 10^10 steps times bytes, or 2 * 10^7 for each id if that is more,
    // and divides it evenly. An id whose match needs more than its share, or too much memory or
    // stack, is left out. A hostile pattern may take 10 seconds; with more than about 20,000 ids,
    // proportionally longer.
    std::vector<std::string> find_plugins(std::string const& expression) const;

    // The description registered under id, shared with the caller, or null. It may outlive the
    // registry. It does not keep a shared object open.
    morbase::ptr_refcount<info> describe_plugin(std::string const& id) const;

    // Loads every plug-in directory in dir, in the order in which the file system lists them.
    // Skips hidden entries and plain files. Returns the number of directories that loaded, or 0
    // if dir cannot be opened. Each registration takes the lock separately, so other threads see
    // the plug-ins appear one by one. Raises only std::bad_alloc.
    int load_plugins(std::string const& dir);

    // Loads the plug-in directory dir: registers every plug-in in its plugin.xml, bound to its
    // darwin/x86/plugin.so. That file is opened only when the first object is created. Returns
    // true if the description was read to the end without an error. Otherwise prints the reason
    // and returns false; plug-ins registered so far stay. If the document breaks off within a
    // plug-in's description, that plug-in is not registered. Raises nothing. If the thread is
    // cancelled, it ends after this call, not within it.
    bool load_plugin(std::string const& dir);

    // Load as the forms above do, but report to the observer what those print, and more; nothing
    // is printed. See load_observer.
    int load_plugins(std::string const& dir, load_observer& observer);
    bool load_plugin(std::string const& dir, load_observer& observer);

  private:
    class KIVCORE_NO_EXPORT plugin_table;

    KIVCORE_NO_EXPORT bool enter(morbase::ptr_refcount<info> const& description,
                                 morbase::ptr_refcount<factory> const& maker, notices& to);
    KIVCORE_NO_EXPORT bool load_description(std::string const& dir, notices& to);
    KIVCORE_NO_EXPORT bool load_directory(std::string const& dir, notices& to);

    std::string root_path;
    std::unique_ptr<plugin_table> table;  // from id to factory and description
    morbase::mutex table_mutex;
};

// What is known about one plug-in: string keys with one string value each. It does not change
// once it is registered, so any number of threads may read it.
class KIVCORE_API plugins::info : public morbase::object_refcount {
  public:
    ~info() override;

    // Sets value to the value of key. If there is no such key, returns false and leaves value
    // unchanged.
    virtual bool get(std::string const& key, std::string& value) const = 0;

    // Sets keys to all keys that the regular expression matches as a whole, in ascending order.
    // Returns false, with keys empty, if there are none or the pattern does not compile. The
    // limits are those of plugins::find_plugins.
    virtual bool find(std::string const& expression, std::vector<std::string>& keys) const = 0;

  protected:
    // Protected, because assignment through an info& would not copy the values.
    info() = default;
    info(info const&) = default;
    info& operator=(info const&) = default;
};

// The value of a key in a description, or `absent` if there is no such key.
inline std::string value_of(plugins::info const& description, std::string const& key,
                            std::string absent = "") {
    description.get(key, absent);
    return absent;
}

// Creates the objects of one plug-in. A host may derive from it to register objects of its own.
class KIVCORE_API plugins::factory : public morbase::object_refcount {
  public:
    ~factory() override;

    // A new object, owned by the caller; may be null. The registry calls this with its lock held:
    // calls do not overlap, and a call must not use the registry. Callers other than a registry
    // must serialise their calls.
    virtual morbase::ptr_refcount<plugin> create() = 0;
};

// The only description class. It is read from a description file, or a host that registers by
// hand fills in `values`.
class KIVCORE_API
    __info  // NOLINT(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp): public name
    : public plugins::info {
  public:
    __info();

    // Reads the plugin element whose start tag is the document's current node. Leaves the
    // document on the element's end tag, or at its end. path is the plug-in directory, stored
    // under "path". Raises es::call if the description cannot be understood. Exceptions of the
    // reader pass through.
    __info(kivsys::xml::reader& document, std::string const& path);

    ~__info() override;

    bool get(std::string const& key, std::string& value) const override;
    bool find(std::string const& expression, std::vector<std::string>& keys) const override;

    // Do not change these once the record is registered.
    std::map<std::string, std::string> values;

  private:
    KIVCORE_NO_EXPORT void read_interface(kivsys::xml::reader& document);
    KIVCORE_NO_EXPORT void read_info(kivsys::xml::reader& document);
};

// Orders versions, the newest first: true if version a is greater than version b. Compares up to
// four numbers separated by dots, each expected to be below 256. A field that is not a number
// counts as 0. Different texts may be the same version; then neither is greater.
struct KIVCORE_API version_greater {
    // Whether a comes before b.
    bool operator()(std::string const& a, std::string const& b) const;
};

// Orders plug-in ids by the text before the last "/", then by version, the newest first. This is
// a strict weak order: ids that differ only in how the version is written are equivalent.
struct KIVCORE_API plugin_id_less {
    // Whether a comes before b.
    bool operator()(std::string const& a, std::string const& b) const;
};

}  // namespace kivcore

#endif
