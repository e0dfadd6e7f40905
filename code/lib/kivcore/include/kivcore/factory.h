// Factories find the functions that a description names in the plug-in's shared object, and
// create objects with them. The constructor only checks that the description has the names. The
// first create() opens the shared object and looks up the functions; later calls only create
// objects. A create() that fails leaves the factory unchanged, and the next call tries again. A
// factory holds a reference to the loader. The objects that it creates do not, so release them
// before the factory. Factories take no lock: the registry calls them while it holds its own, and
// other callers must serialise their calls.
//
// A host rarely needs these: load_plugin makes them. Make one to register, by hand, a plug-in
// that is not in a plug-in directory.

#ifndef KIVCORE_FACTORY_H
#define KIVCORE_FACTORY_H

#include <kivcore/c_file.h>
#include <kivcore/export.h>
#include <kivcore/loader.h>
#include <kivcore/plugins.h>
#include <morbase/ptr_refcount.h>

namespace kivcore {

// The factory for a description, chosen by "interface.flavor" and, unless that is "native", by
// "interface.category" and "interface.type". Null if there is no factory for these values. Raises
// es::null if the description lacks a binding, as the constructors below do. The arguments must
// not be null, here and in the constructors below.
KIVCORE_API morbase::ptr_refcount<plugins::factory> create_factory(
    morbase::ptr_refcount<loader> const& image_loader,
    morbase::ptr_refcount<plugins::info> const& description);

// For a plug-in that exports one create function. That function takes no arguments. It returns a
// new object of a class derived from kivcore::plugin, or null. It must not retain the object.
class KIVCORE_API factory_native : public plugins::factory {
  public:
    // Raises es::null if the description has no "interface.bind.create".
    factory_native(morbase::ptr_refcount<loader> const& image,
                   morbase::ptr_refcount<plugins::info> const& record);
    ~factory_native() override;

    factory_native(factory_native const&) = delete;
    factory_native& operator=(factory_native const&) = delete;

    // The object that the create function returned, or null. Raises es::call if the shared object
    // cannot be opened, es::null if it lacks the function. Exceptions of the function pass
    // through. Their class may exist only in the shared object, so do not keep them longer than
    // this factory.
    morbase::ptr_refcount<plugin> create() override;

  private:
    morbase::ptr_refcount<loader> image_loader;
    morbase::ptr_refcount<plugins::info> description;
    plugin* (*create_function)() = nullptr;
};

// For a plug-in that exports the C functions for reading a file. Creates c_file_read objects.
class KIVCORE_API factory_c_file_read : public plugins::factory {
  public:
    // Raises es::null unless the description names open, close, read, size, and either seek or
    // both get_pos and set_pos.
    factory_c_file_read(morbase::ptr_refcount<loader> const& image,
                        morbase::ptr_refcount<plugins::info> const& record);
    ~factory_c_file_read() override;

    factory_c_file_read(factory_c_file_read const&) = delete;
    factory_c_file_read& operator=(factory_c_file_read const&) = delete;

    // Raises es::call if the shared object cannot be opened, es::null if it lacks a function that
    // the description names and the reader needs.
    morbase::ptr_refcount<plugin> create() override;

  private:
    KIVCORE_NO_EXPORT void bind();

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

// For a plug-in that exports the C functions for writing a file. Creates c_file_write objects.
class KIVCORE_API factory_c_file_write : public plugins::factory {
  public:
    // Raises es::null unless the description names open, close, write, flush, size, and either
    // seek or both get_pos and set_pos.
    factory_c_file_write(morbase::ptr_refcount<loader> const& image,
                         morbase::ptr_refcount<plugins::info> const& record);
    ~factory_c_file_write() override;

    factory_c_file_write(factory_c_file_write const&) = delete;
    factory_c_file_write& operator=(factory_c_file_write const&) = delete;

    // Raises as factory_c_file_read does.
    morbase::ptr_refcount<plugin> create() override;

  private:
    KIVCORE_NO_EXPORT void bind();

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
