// A buffer for a plug-in to read into, between margins that it must not change.

#ifndef KIVPLUG_CONTRACT_GUARDED_BUFFER_H
#define KIVPLUG_CONTRACT_GUARDED_BUFFER_H

#include <algorithm>
#include <cstddef>
#include <vector>

namespace kivplug {

class guarded_buffer {
  public:
    explicit guarded_buffer(std::size_t count) : bytes(count + 2 * k_margin, k_guard) {}

    char* data() { return bytes.data() + k_margin; }

    bool is_intact() const {
        auto const is_guard = [](char byte) { return byte == k_guard; };
        return std::all_of(bytes.begin(), bytes.begin() + k_margin, is_guard) &&
               std::all_of(bytes.end() - k_margin, bytes.end(), is_guard);
    }

  private:
    static constexpr std::ptrdiff_t k_margin = 64;
    static constexpr char k_guard = '\x5a';

    std::vector<char> bytes;
};

}  // namespace kivplug

#endif
