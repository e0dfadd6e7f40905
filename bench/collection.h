// Plug-in directories like those of a large collection, made for one measurement and
// removed after it. Each contains only a plugin.xml: loading reads no other file.

#ifndef BENCH_COLLECTION_H
#define BENCH_COLLECTION_H

#include <cstddef>
#include <string>

namespace bench {

// A new directory below the system's directory for temporary files. The destructor removes it
// with its contents.
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
    k_mixed,  // of ten: six of those, three native plug-ins, one bundle of two plug-ins
};

// Writes `count` plug-in directories into dir: four versions of each plug-in, by several
// developers. All ids differ. Raises std::runtime_error.
void write_collection(std::string const& dir, std::size_t count, mixture kind);

}  // namespace bench

#endif
