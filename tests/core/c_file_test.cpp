#include <limits>
#include <stdexcept>
#include <tuple>

#include <gtest/gtest.h>

#include <support/fakes.h>

namespace {

using morbase::from_current;
using morbase::from_end;
using morbase::from_start;
using strings = std::vector<std::string>;

constexpr long long k_most = std::numeric_limits<long long>::max();
constexpr long long k_least = std::numeric_limits<long long>::min();

// The calls of the C functions below, and what they return. C functions have no state of
// their own, so it is here; the fixture clears it.
struct {
    strings calls;
    int result = 0;
    long long position = 0;
    long long size = 0;
    bool close_throws = false;
    char handle = 0;
} script;

void record(std::string const& call, void const* handle) {
    script.calls.push_back(call);
    EXPECT_EQ(handle, &script.handle) << call;
}

int fake_open(char const* path, char const* mode, void** handle) {
    script.calls.push_back("open " + std::string(path) + " " + mode);
    *handle = &script.handle;
    return script.result;
}

int fake_close(void* handle) {
    record("close", handle);
    if (script.close_throws) {
        throw std::runtime_error("close failed");
    }
    return script.result;
}

int fake_read(void* handle, void* buffer, unsigned int count) {
    record("read " + std::to_string(count), handle);
    *static_cast<char*>(buffer) = 'r';
    return script.result;
}

int fake_write(void* handle, void const* buffer, unsigned int count) {
    record("write " + std::to_string(count) + " " + *static_cast<char const*>(buffer), handle);
    return script.result;
}

int fake_flush(void* handle) {
    record("flush", handle);
    return script.result;
}

long long fake_seek(void* handle, long long offset, unsigned char origin) {
    record("seek " + std::to_string(offset) + " " + std::to_string(origin), handle);
    return script.position;
}

long long fake_get_pos(void* handle) {
    record("get_pos", handle);
    return script.position;
}

long long fake_set_pos(void* handle, long long position) {
    record("set_pos " + std::to_string(position), handle);
    return position;
}

long long fake_size(void* handle) {
    record("size", handle);
    return script.size;
}

struct reading {
    using adapter = kivcore::c_file_read;
    using stream = morbase::stream::rda;
    static adapter* make(kivcore::c_seek_function seek, kivcore::c_get_pos_function get_pos,
                         kivcore::c_set_pos_function set_pos) {
        return new adapter(fake_open, fake_close, fake_read, seek, get_pos, set_pos, fake_size);
    }
};

struct writing {
    using adapter = kivcore::c_file_write;
    using stream = morbase::stream::wra;
    static adapter* make(kivcore::c_seek_function seek, kivcore::c_get_pos_function get_pos,
                         kivcore::c_set_pos_function set_pos) {
        return new adapter(fake_open, fake_close, fake_write, fake_flush, seek, get_pos, set_pos,
                           fake_size);
    }
};

template <typename direction>
class c_file : public testing::Test {
  protected:
    using adapter = typename direction::adapter;
    using stream = typename direction::stream;
    using adapter_ptr = morbase::ptr_refcount<adapter>;

    c_file() { script = {}; }

    // Opened with a seek function, with a position pair, or with all three.
    static adapter_ptr opened(bool seek, bool pair) {
        adapter_ptr file =
            direction::make(seek ? fake_seek : nullptr, pair ? fake_get_pos : nullptr,
                            pair ? fake_set_pos : nullptr);
        file->open("path", "mode");
        script.calls.clear();
        return file;
    }
    static adapter_ptr by_seek() { return opened(true, false); }
    static adapter_ptr by_pair() { return opened(false, true); }

    // The calls since the last time this was asked.
    static strings calls() { return std::exchange(script.calls, {}); }
};

using directions = testing::Types<reading, writing>;
TYPED_TEST_SUITE(c_file, directions, );

TYPED_TEST(c_file, closes_the_handle_once) {
    typename TestFixture::adapter_ptr const file = TypeParam::make(fake_seek, nullptr, nullptr);
    EXPECT_EQ(file->close(), 0);
    EXPECT_EQ(this->calls(), strings{});
    script.result = -7;
    EXPECT_EQ(file->open("some path", ""), -7);
    EXPECT_EQ(this->calls(), strings{"open some path "});
    EXPECT_EQ(file->close(), -7);
    EXPECT_EQ(file->close(), 0);
    EXPECT_EQ(this->calls(), strings{"close"});
}

TYPED_TEST(c_file, an_open_handle_is_closed_by_the_destructor) {
    script.close_throws = true;
    this->by_pair();
    EXPECT_EQ(this->calls(), strings{"close"});
    EXPECT_THROW(this->by_seek()->close(), std::runtime_error);
    EXPECT_EQ(this->calls(), strings{"close"});
}

TYPED_TEST(c_file, a_seek_function_gets_offset_and_origin_unchanged) {
    auto const file = this->by_seek();
    script.position = -9;
    EXPECT_EQ(file->seek(k_most, from_current), -9);
    for (int const origin : {2, 3, 0x102, -1}) {
        EXPECT_EQ(file->seek(-4, static_cast<morbase::whence>(origin)), -9);
    }
    EXPECT_EQ(this->calls(), (strings{"seek 9223372036854775807 1", "seek -4 2", "seek -4 3",
                                      "seek -4 2", "seek -4 255"}));
}

TYPED_TEST(c_file, a_position_pair_seeks_from_every_origin_and_wraps) {
    // The position, the size, the offset and origin of the seek, the calls, the result.
    using row = std::tuple<long long, long long, long long, int, strings, long long>;
    row const table[] = {
        {5, 100, 10, 0, {"set_pos 10"}, 10},
        {5, 100, 10, 1, {"get_pos", "set_pos 15"}, 15},
        {5, 100, -1, 2, {"size", "set_pos 99"}, 99},
        {5, 100, 10, 3, {}, 0},
        {5, 100, 10, -1, {}, 0},
        {k_most, 0, 1, 1, {"get_pos", "set_pos " + std::to_string(k_least)}, k_least},
        {-1, 0, k_least, 1, {"get_pos", "set_pos " + std::to_string(k_most)}, k_most},
        {0, k_most, k_most, 2, {"size", "set_pos -2"}, -2},
    };
    auto const file = this->by_pair();
    for (auto const& [position, size, offset, origin, calls, result] : table) {
        script.position = position;
        script.size = size;
        EXPECT_EQ(file->seek(offset, static_cast<morbase::whence>(origin)), result);
        EXPECT_EQ(this->calls(), calls);
    }
}

TYPED_TEST(c_file, position_and_size_come_from_the_plugin_through_either_base) {
    script.position = 42;
    script.size = -3;
    for (bool const seek : {true, false}) {
        auto const file = this->opened(seek, !seek);
        typename TestFixture::stream& as_stream = *file;
        EXPECT_EQ(file->tell(), 42);
        EXPECT_EQ(as_stream.tell(), 42);
        std::string const asked = seek ? "seek 0 1" : "get_pos";
        EXPECT_EQ(this->calls(), (strings{asked, asked}));
        EXPECT_EQ(std::as_const(*file).size(), -3);
        EXPECT_EQ(as_stream.size(), -3);
        EXPECT_EQ(this->calls(), (strings{"size", "size"}));
    }
}

using c_file_reading = c_file<reading>;

TEST_F(c_file_reading, passes_bytes_and_results_through_and_prefers_the_seek_function) {
    auto const file = opened(true, true);
    char byte = 0;
    script.result = 5;
    EXPECT_EQ(file->read(&byte, (1ULL << 32) + 5), 5);
    EXPECT_EQ(byte, 'r');
    script.result = -1;
    EXPECT_EQ(file->read(&byte, 0xffffffffU), -1);
    file->tell();
    file->seek(1, from_start);
    EXPECT_EQ(calls(), (strings{"read 5", "read 4294967295", "seek 0 1", "seek 1 0"}));
}

using c_file_writing = c_file<writing>;

TEST_F(c_file_writing, passes_bytes_and_results_through_and_prefers_get_pos_for_tell) {
    auto const file = opened(true, true);
    script.result = -5;
    EXPECT_EQ(file->write("y", (1ULL << 32) + 5), -5);
    EXPECT_EQ(file->flush(), -5);
    std::as_const(*file).tell();
    file->seek(1, from_start);
    EXPECT_EQ(calls(), (strings{"write 5 y", "flush", "get_pos", "seek 1 0"}));
}

// Passes a text through a writer and a reader of the plug-in `memory`.
TEST(memory_plugin, reads_what_was_written) {
    support::registry_ptr const registry = new kivcore::plugins("/nowhere");
    registry->load_plugin(TEST_PLUGIN_DIR "/memory");
    for (std::string const by : {"seek", "pair"}) {
        SCOPED_TRACE("positioned by " + by);
        auto const out =
            kivcore::create<kivcore::writer>(registry, "io/write/" + by + "/tests/1.0");
        ASSERT_TRUE(out && out->open("any", "w") == 0);
        EXPECT_EQ(out->write("hello world", 11), 11);
        EXPECT_EQ(out->seek(-5, from_current), 6);
        EXPECT_EQ(out->write("W", 1), 1);
        EXPECT_EQ(out->tell(), 7);
        EXPECT_EQ(out->size(), 11);
        EXPECT_EQ(out->flush() + out->close(), 0);

        auto const in = kivcore::create<kivcore::reader>(registry, "io/read/" + by + "/tests/1.0");
        ASSERT_TRUE(in && in->open("any", "r") == 0);
        EXPECT_EQ(in->seek(-5, from_end), 6);
        char bytes[16] = "";
        EXPECT_EQ(in->peek(bytes, 1), 1);
        EXPECT_EQ(in->read(bytes, sizeof bytes), 5);
        EXPECT_STREQ(bytes, "World");
        EXPECT_EQ(in->tell(), 11);
    }
}

}  // namespace
