// Factories bind the functions that a description names from the plug-in's shared
// object. Making one only checks that the names it needs are there; the first
// create() opens the shared object and looks them up, later ones only make
// objects. A create() that fails leaves the factory as it was, and the next one
// tries again. A factory keeps a reference to the loader; the objects that it
// makes do not, and must go before it does. Factories take no lock: the registry
// calls them with its own held, other callers serialise their calls.
//
// Hosts seldom meet these: load_plugin makes them. Make one to register by hand what
// lies outside a plug-in directory.

#ifndef KIVCORE_FACTORY_H
#define KIVCORE_FACTORY_H

#include <kivcore/c_file.h>
#include <kivcore/export.h>
#include <kivcore/loader.h>
#include <kivcore/plugins.h>
#include <morbase/ptr_refcount.h>

namespace kivcore {

// The factory for a description, chosen by "interface.flavor" and, unless that is
// "native", by "interface.category" and "interface.type". Null when no factory
// serves them. Raises es::null, as the factories do, when the description lacks a
// binding. Neither argument is null, here and in the constructors below.
KIVCORE_API morbase::ptr_refcount<plugins::factory> create_factory(
    morbase::ptr_refcount<loader> const& image_loader,
    morbase::ptr_refcount<plugins::info> const& description);

// For a plug-in that exports one create function. That function takes no arguments
// and returns a new object of a class derived from kivcore::plugin without having
// taken a reference to it, or null.
class KIVCORE_API factory_native : public plugins::factory {
  public:
    // Raises es::null when the description has no "interface.bind.create".
    factory_native(morbase::ptr_refcount<loader> const& image,
                   morbase::ptr_refcount<plugins::info> const& record);
    ~factory_native() override;

    factory_native(factory_native const&) = delete;
    factory_native& operator=(factory_native const&) = delete;

    // What the create function made; null when it made nothing. Raises es::call when
    // the shared object cannot be opened, es::null when it lacks the function. What
    // the function throws passes through: it may be of a class that only the shared
    // object knows, so do not keep it beyond this factory.
    morbase::ptr_refcount<plugin> create() override;

  private:
    morbase::ptr_refcount<loader> image_loader;
    morbase::ptr_refcount<plugins::info> description;
    plugin* (*create_function)() = nullptr;
};

// For a plug-in that exports the C functions of a file to read; makes c_file_read
// objects.
class KIVCORE_API factory_c_file_read : public plugins::factory {
  public:
    // Raises es::null unless the description names open, close, read, size and
    // either seek or both get_pos and set_pos.
    factory_c_file_read(morbase::ptr_refcount<loader> const& image,
                        morbase::ptr_refcount<plugins::info> const& record);
    ~factory_c_file_read() override;

    factory_c_file_read(factory_c_file_read const&) = delete;
    factory_c_file_read& operator=(factory_c_file_read const&) = delete;

    // Raises es::call when the shared object cannot be opened, es::null when it
    // lacks a function that the description names and the reader needs.
    morbase::ptr_refcount<plugin> create() override;

  private:
    void bind();

    morbase::ptr_refcount<loader> image_loader;
    morbase::ptr_refcount<plugins::info> description;
    c_open_function open_function = nullptr;
    c_close_function close_function = nullptr;
    c_read_function read_function = nullptr;
    c_seek_function seek_function = nullptr;
    c_get_pos_function get_pos_function = nullptr;
    c_set_pos_function set_pos_function = nullptr;
    c_size_function size_function = nullptr;  // bound last: set when all others are
};

// The same for a file to write; makes c_file_write objects.
class KIVCORE_API factory_c_file_write : public plugins::factory {
  public:
    // Raises es::null unless the description names open, close, write, flush, size
    // and either seek or both get_pos and set_pos.
    factory_c_file_write(morbase::ptr_refcount<loader> const& image,
                         morbase::ptr_refcount<plugins::info> const& record);
    ~factory_c_file_write() override;

    factory_c_file_write(factory_c_file_write const&) = delete;
    factory_c_file_write& operator=(factory_c_file_write const&) = delete;

    // Raises as factory_c_file_read does.
    morbase::ptr_refcount<plugin> create() override;

  private:
    void bind();

    morbase::ptr_refcount<loader> image_loader;
    morbase::ptr_refcount<plugins::info> description;
    c_open_function open_function = nullptr;
    c_close_function close_function = nullptr;
    c_write_function write_function = nullptr;
    c_flush_function flush_function = nullptr;
    c_seek_function seek_function = nullptr;
    c_get_pos_function get_pos_function = nullptr;
    c_set_pos_function set_pos_function = nullptr;
    c_size_function size_function = nullptr;  // bound last: set when all others are
};

}  // namespace kivcore

#endif
