// The registry of plug-ins, and the description of one plug-in.
//
// A registry maps plug-in ids to pairs of a factory and a description. Fill it
// from disk (load_plugins, load_plugin) or by hand (register_with_id), list it
// (find_plugins), read descriptions (describe_plugin) and make objects
// (create_with_id). It owns one reference to every factory and description that
// it holds; nothing is ever taken out of it but by the rule that a native plug-in
// replaces a non-native one under the same id.
//
// A plug-in id is five fields joined by "/": category, type, key, developer id
// and version. Fields are taken as they are and may be empty.
//
// Any thread may call any operation of a registry. One mutex guards its table and
// is held for every registration, look-up and creation, the factory's own create()
// included, and while a search lists the ids: a create() that calls back into its own
// registry is refused with an es::call. Objects that a registry made must be released
// before it is, and before a native plug-in takes over their id; kivcore::instance sees to
// that.
//
// Notices are printed: why a directory failed to load to standard error; refusals and
// replacements, and what the XML library has against a description, to standard output. A
// refusal says "native" of what is present, whatever flavor that has.
//
// Operations but load_plugin raise std::bad_alloc besides what they say.

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

class KIVCORE_API plugins : public morbase::object_refcount {
  public:
    class info;
    class factory;

    // An empty registry. root: the directory whose plugin.rng stands for the description's
    // schema. It is only named: descriptions are not validated, and nothing need be there.
    // Made with new and held by a ptr_refcount where instances are to share it.
    explicit plugins(std::string const& root);
    ~plugins() override;

    plugins(plugins const&) = delete;
    plugins& operator=(plugins const&) = delete;

    // Enters the pair under every id of the description: one for each of the keys
    // that its "interface.key" lists between "|". description is not null and is
    // not written to from now on; maker may be null, for an interface that nothing
    // serves. False, with a notice, as soon as one id is taken and the description
    // may not replace what is there; ids entered before stay.
    bool register_with_info(morbase::ptr_refcount<info> description,
                            morbase::ptr_refcount<factory> maker);

    // Enters maker under id with a description made from the id and the display
    // name. False, with a notice, when id has not five fields or is taken. An entry made
    // this way has no flavor, so a native plug-in of that id takes its place.
    bool register_with_id(std::string const& id, morbase::ptr_refcount<factory> maker,
                          std::string const& name);

    // A new object of the plug-in with this id, owned by the caller. Null when the
    // id is unknown, when its entry has no factory, and when the factory made
    // nothing. What the factory throws passes through: es::call for a shared object that
    // cannot be opened, es::null for a function that it lacks, and whatever the plug-in's
    // create function throws. The first object of a plug-in opens its shared object, and
    // other threads wait for the lock meanwhile. Raises es::call for a call out of a
    // create() of this registry.
    morbase::ptr_refcount<plugin> create_with_id(std::string const& id);

    // The same, and hands out the factory that made the object, which keeps the
    // object's shared object open. maker is set as soon as there is a factory, also when
    // that then makes nothing or throws, and left alone otherwise.
    morbase::ptr_refcount<plugin> create_with_id(std::string const& id,
                                                 morbase::ptr_refcount<factory>& maker);

    // The ids that the regular expression, in PCRE's syntax, matches as a whole, sorted by
    // plugin_id_less: versions of one plug-in together, the newest first. Empty if the pattern
    // does not compile. The lock is held only while the ids are listed: they are matched
    // without it, so a search never holds up other threads for as long as the pattern takes. A
    // search has a budget of 10^10 steps times bytes, or 2 * 10^7 for each id if that is more,
    // and shares it out evenly: an id whose match takes more, or too much memory or stack, is
    // left out. A hostile pattern may take 10 seconds, and with more than some 20,000 ids longer
    // in proportion. Raises std::bad_alloc.
    std::vector<std::string> find_plugins(std::string const& expression) const;

    // The description registered under id, shared with the caller, or null. It may outlive
    // the registry, and holds no shared object open.
    morbase::ptr_refcount<info> describe_plugin(std::string const& id) const;

    // Loads every plug-in directory in dir, in the order in which the file system
    // lists them. Hidden entries and plain files are passed over. Returns how many
    // directories loaded; 0 when dir cannot be opened. The lock is taken for each
    // registration anew: other threads see the plug-ins come in one by one. Raises nothing
    // but std::bad_alloc.
    int load_plugins(std::string const& dir);

    // Loads the plug-in directory dir: registers every plug-in that its plugin.xml
    // describes, bound to its darwin/x86/plugin.so, which is opened only when a
    // first object is made. True when the description was read to its end without
    // an error. Raises nothing: a failure is printed and false is returned; what
    // was registered before it stays. A plug-in within whose description the document
    // breaks off is not registered. A cancelled thread ends after this, not within.
    bool load_plugin(std::string const& dir);

  private:
    class plugin_table;

    std::string root_path;
    std::unique_ptr<plugin_table> table;  // from id to factory and description
    morbase::mutex table_mutex;
};

// What is known about one plug-in: string keys with one string value each. Never
// changed once it is registered, so any number of threads may read it.
class KIVCORE_API plugins::info : public morbase::object_refcount {
  public:
    ~info() override;

    // The value of key. False, with value left as it was, when there is no such key.
    virtual bool get(std::string const& key, std::string& value) const = 0;

    // Replaces keys by all keys that the regular expression matches as a whole, in
    // ascending order. False, with keys empty, when there is none, or the pattern does not
    // compile. The bounds are those of plugins::find_plugins.
    virtual bool find(std::string const& expression, std::vector<std::string>& keys) const = 0;

  protected:
    // For derived classes only: assigned through an info&, a record would keep its values.
    info() = default;
    info(info const&) = default;
    info& operator=(info const&) = default;
};

// The value of a key in a description, or `absent` when there is no such key.
inline std::string value_of(plugins::info const& description, std::string const& key,
                            std::string absent = "") {
    description.get(key, absent);
    return absent;
}

// Makes the objects of one plug-in. Hosts may derive from it to register objects of
// their own.
class KIVCORE_API plugins::factory : public morbase::object_refcount {
  public:
    ~factory() override;

    // A new object, owned by the caller; may be null. The registry calls this with
    // its lock held, so no two calls overlap and a call must not come back to the
    // registry. Callers outside a registry serialise their calls themselves.
    virtual morbase::ptr_refcount<plugin> create() = 0;
};

// The one description class. Built by the registry or by a host that registers by
// hand, by way of `values`; or read from a description file.
class KIVCORE_API
    __info  // NOLINT(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp): public name
    : public plugins::info {
  public:
    __info();

    // Reads the plugin element whose start tag is the document's current node, and
    // leaves it on the element's end tag or at the end of the document. path is the
    // plug-in directory, kept under "path". Raises es::call for a description that
    // cannot be understood; what the reader raises passes through.
    __info(kivsys::xml::reader& document, std::string const& path);

    ~__info() override;

    bool get(std::string const& key, std::string& value) const override;
    bool find(std::string const& expression, std::vector<std::string>& keys) const override;

    // Written only until the record is registered.
    std::map<std::string, std::string> values;

  private:
    void read_interface(kivsys::xml::reader& document);
    void read_info(kivsys::xml::reader& document);
};

// Orders versions, the newest first: true when version a is greater than version
// b. Up to four numbers between dots count, each meant to stay below 256; what is
// no number counts as 0. Different texts may be the same version: neither is greater.
struct KIVCORE_API version_greater {
    bool operator()(std::string const& a, std::string const& b) const;
};

// Orders plug-in ids: by the text before the last "/", then the newest version first. A
// strict weak order: ids whose versions are the same are equivalent.
struct KIVCORE_API plugin_id_less {
    bool operator()(std::string const& a, std::string const& b) const;
};

}  // namespace kivcore

#endif
