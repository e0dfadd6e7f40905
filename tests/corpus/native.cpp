// The shared object of native cases whose mistake is in the description: an empty file to read.

#include <kivcore/reader.h>

namespace {

class nothing final : public kivcore::reader {
  public:
    int open(std::string const& /*path*/, std::string const& /*mode*/) override { return 0; }
    int close() override { return 0; }
    long long read(void* /*buffer*/, unsigned long long /*count*/) override { return 0; }
    long long seek(long long /*offset*/, morbase::whence /*origin*/) override { return 0; }
};

}  // namespace

extern "C" __attribute__((visibility("default"))) kivcore::plugin* sound_create() {
    return new nothing;
}
