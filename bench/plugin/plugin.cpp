// A minimal native plug-in and a minimal C-style reader, so that a measurement only shows the cost
// of reaching them. The C-style reader is an endless file of zeros.

#include <cstring>

#include <kivcore/plugin.h>

namespace {

class empty_plugin final : public kivcore::plugin {
  public:
    std::string kind() override { return "empty"; }
};

char const k_zeros[1 << 16] = {};

}  // namespace

#define EXPORTED extern "C" __attribute__((visibility("default")))

EXPORTED kivcore::plugin* bench_create() {
    return new empty_plugin;
}

EXPORTED int bench_open(char const* /*path*/, char const* /*mode*/, void** handle) {
    static char opened;
    *handle = &opened;
    return 0;
}

EXPORTED int bench_close(void* /*handle*/) {
    return 0;
}

EXPORTED int bench_read(void* /*handle*/, void* target, unsigned int count) {
    unsigned int const moved = count < sizeof k_zeros ? count : sizeof k_zeros;
    std::memcpy(target, k_zeros, moved);
    return static_cast<int>(moved);
}

EXPORTED long long bench_seek(void* /*handle*/, long long offset, unsigned char /*origin*/) {
    return offset;
}

EXPORTED long long bench_size(void* /*handle*/) {
    return sizeof k_zeros;
}
