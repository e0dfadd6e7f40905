// Plug-in directories as a large collection has them, made for one measurement and
// removed after it. There is a plugin.xml in each and nothing beside it: loading looks
// at no other file.

#ifndef BENCH_COLLECTION_H
#define BENCH_COLLECTION_H

#include <cstddef>
#include <string>

namespace bench {

// A directory of its own below the system's directory for temporary files. Removed with
// all that is in it by the destructor.
class scratch_directory {
  public:
    scratch_directory();
    ~scratch_directory();

    scratch_directory(scratch_directory const&) = delete;
    scratch_directory& operator=(scratch_directory const&) = delete;

    std::string const& path() const { return root; }

  private:
    std::string root;
};

enum class mixture {
    k_plain,  // C-style readers and writers: descriptions of 25 lines with 15 values
    k_mixed,  // in ten: six of those, three native ones, one bundle of two plug-ins
};

// Writes `count` plug-in directories into dir: four versions of each plug-in, by several
// developers. No two have an id in common. Raises std::runtime_error.
void write_collection(std::string const& dir, std::size_t count, mixture kind);

}  // namespace bench

#endif
