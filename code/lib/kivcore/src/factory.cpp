#include "kivcore/factory.h"

#include <string>

#include <morbase/es.h>

#include "description.h"

namespace kivcore {

namespace {

// What morbase::es::base::file() returns for errors raised here.
constexpr char const* k_source = "code/lib/kivcore/src/factory";

// The symbol that implements a function; empty if the description does not name one. An empty
// binding counts as missing: no symbol has an empty name.
std::string binding(plugins::info const& description, std::string const& function) {
    return value_of(description, k_bind + function);
}

// Raises es::null unless the description names the function. `wanted` is its name in the message.
void require_binding(plugins::info const& description, std::string const& function,
                     std::string const& wanted) {
    if (binding(description, function).empty()) {
        morbase::es::null::raise(k_source, __LINE__,
                                 ("no binding for " + wanted + " function").c_str());
    }
}

void require_binding(plugins::info const& description, std::string const& function) {
    require_binding(description, function, function);
}

// A file needs either a seek function or a pair that gets and sets the position.
void require_positioning(plugins::info const& description) {
    if (!binding(description, k_seek).empty()) {
        return;
    }
    require_binding(description, k_get_pos, "seek or get_pos");
    require_binding(description, k_set_pos, "seek or set_pos");
}

// Looks up the functions of a description in its open shared object. Holds references only: use
// it within one call.
class binder {
  public:
    binder(loader& open_image, plugins::info const& record)
        : image(open_image), description(record) {}

    // Raises es::null unless the description names the function and the shared object has it.
    template <typename function>
    void bind(function& slot, char const* name) {
        find(slot, name);
        require(slot, std::string(name) + " function");
    }

    // If the description names seek, raises es::null unless it is found. Otherwise raises
    // es::null unless both get_pos and set_pos are found.
    void bind_positioning(c_seek_function& seek, c_get_pos_function& get_pos,
                          c_set_pos_function& set_pos) {
        if (find(seek, "seek")) {
            require(seek, "seek function");
        }
        find(get_pos, "get_pos");
        find(set_pos, "set_pos");
        // With a seek function the pair is optional.
        if (seek == nullptr) {
            require(get_pos, "get_pos or seek functions");
            require(set_pos, "set_pos or seek functions");
        }
    }

  private:
    // Looks up the function; sets slot to null if it is missing. Returns whether the description
    // names the function.
    template <typename function>
    bool find(function& slot, char const* name) {
        std::string const symbol = binding(description, name);
        // The look-up returns a function as a data pointer, which POSIX allows. There is no way
        // to check that the function has the expected type.
        slot = symbol.empty() ? nullptr : reinterpret_cast<function>(image.lookup(symbol));
        return !symbol.empty();
    }

    template <typename function>
    void require(function slot, std::string const& wanted) {
        if (slot == nullptr) {
            morbase::es::null::raise(k_source, __LINE__,
                                     ("couldn't find " + wanted + " in binary image").c_str());
        }
    }

    loader& image;
    plugins::info const& description;
};

}  // namespace

morbase::ptr_refcount<plugins::factory> create_factory(
    morbase::ptr_refcount<loader> const& image_loader,
    morbase::ptr_refcount<plugins::info> const& description) {
    // A native plug-in creates objects itself, of any interface. A C-style one needs an adapter,
    // so there is one factory for each category and type that has an adapter.
    std::string const flavor = value_of(*description, k_flavor);
    if (flavor == k_native) {
        return new factory_native(image_loader, description);
    }
    if (flavor != k_c_style || value_of(*description, k_category) != k_io) {
        return nullptr;
    }
    std::string const type = value_of(*description, k_type);
    if (type == k_read) {
        return new factory_c_file_read(image_loader, description);
    }
    if (type == k_write) {
        return new factory_c_file_write(image_loader, description);
    }
    return nullptr;
}

factory_native::factory_native(morbase::ptr_refcount<loader> const& image,
                               morbase::ptr_refcount<plugins::info> const& record)
    : image_loader(image), description(record) {
    require_binding(*description, k_create);
}

factory_native::~factory_native() = default;

morbase::ptr_refcount<plugin> factory_native::create() {
    if (create_function == nullptr) {
        image_loader->load();
        binder(*image_loader, *description).bind(create_function, k_create);
    }
    // A new object has no references yet; the returned pointer takes the first.
    return create_function();
}

factory_c_file_read::factory_c_file_read(morbase::ptr_refcount<loader> const& image,
                                         morbase::ptr_refcount<plugins::info> const& record)
    : image_loader(image), description(record) {
    require_binding(*description, k_open);
    require_binding(*description, k_close);
    require_binding(*description, k_read);
    require_positioning(*description);
    require_binding(*description, k_size);
}

factory_c_file_read::~factory_c_file_read() = default;

void factory_c_file_read::bind() {
    image_loader->load();
    binder functions(*image_loader, *description);
    functions.bind(open_function, k_open);
    functions.bind(close_function, k_close);
    functions.bind(read_function, k_read);
    functions.bind_positioning(seek_function, get_pos_function, set_pos_function);
    functions.bind(size_function, k_size);
}

morbase::ptr_refcount<plugin> factory_c_file_read::create() {
    if (size_function == nullptr) {
        bind();
    }
    return new c_file_read(open_function, close_function, read_function, seek_function,
                           get_pos_function, set_pos_function, size_function);
}

factory_c_file_write::factory_c_file_write(morbase::ptr_refcount<loader> const& image,
                                           morbase::ptr_refcount<plugins::info> const& record)
    : image_loader(image), description(record) {
    require_binding(*description, k_open);
    require_binding(*description, k_close);
    require_binding(*description, k_write);
    require_binding(*description, k_flush);
    require_positioning(*description);
    require_binding(*description, k_size);
}

factory_c_file_write::~factory_c_file_write() = default;

void factory_c_file_write::bind() {
    image_loader->load();
    binder functions(*image_loader, *description);
    functions.bind(open_function, k_open);
    functions.bind(close_function, k_close);
    functions.bind(write_function, k_write);
    functions.bind(flush_function, k_flush);
    functions.bind_positioning(seek_function, get_pos_function, set_pos_function);
    functions.bind(size_function, k_size);
}

morbase::ptr_refcount<plugin> factory_c_file_write::create() {
    if (size_function == nullptr) {
        bind();
    }
    return new c_file_write(open_function, close_function, write_function, flush_function,
                            seek_function, get_pos_function, set_pos_function, size_function);
}

}  // namespace kivcore
