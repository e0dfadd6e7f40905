#include <limits>
#include <stdexcept>

#include <gtest/gtest.h>

#include <support/fakes.h>

namespace {

using morbase::from_current;
using morbase::from_end;
using morbase::from_start;
using strings = std::vector<std::string>;

constexpr long long k_most = std::numeric_limits<long long>::max();
constexpr long long k_least = std::numeric_limits<long long>::min();

// What the C functions below were asked and what they answer. C functions carry no
// state of their own; the fixture clears this.
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

    static adapter_ptr opened(adapter_ptr const& file) {
        file->open("path", "mode");
        script.calls.clear();
        return file;
    }

    static adapter_ptr by_seek() { return opened(direction::make(fake_seek, nullptr, nullptr)); }
    static adapter_ptr by_pair() {
        return opened(direction::make(nullptr, fake_get_pos, fake_set_pos));
    }

    // The calls since the last time.
    static strings calls() { return std::exchange(script.calls, {}); }
};

using directions = testing::Types<reading, writing>;
TYPED_TEST_SUITE(c_file, directions, );

TYPED_TEST(c_file, hands_the_handle_back_once) {
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

TYPED_TEST(c_file, a_handle_still_held_is_closed_at_the_end) {
    this->by_seek();
    EXPECT_EQ(this->calls(), strings{"close"});
    script.result = -1;
    script.close_throws = true;
    this->by_pair();
    EXPECT_EQ(this->calls(), strings{"close"});
    {
        auto const file = this->by_seek();
        EXPECT_THROW(file->close(), std::runtime_error);
        EXPECT_EQ(this->calls(), strings{"close"});
    }
    EXPECT_EQ(this->calls(), strings{});
}

TYPED_TEST(c_file, a_seek_function_gets_offset_and_origin_as_they_are) {
    auto const file = this->by_seek();
    script.position = -9;
    EXPECT_EQ(file->seek(-4, from_end), -9);
    EXPECT_EQ(file->seek(k_most, from_current), -9);
    EXPECT_EQ(file->seek(0, static_cast<morbase::whence>(3)), -9);
    EXPECT_EQ(file->seek(0, static_cast<morbase::whence>(0x102)), -9);
    EXPECT_EQ(file->seek(0, static_cast<morbase::whence>(-1)), -9);
    EXPECT_EQ(this->calls(), (strings{"seek -4 2", "seek 9223372036854775807 1", "seek 0 3",
                                      "seek 0 2", "seek 0 255"}));
}

TYPED_TEST(c_file, a_position_pair_seeks_from_every_origin) {
    auto const file = this->by_pair();
    script.position = 5;
    script.size = 100;
    EXPECT_EQ(file->seek(10, from_start), 10);
    EXPECT_EQ(this->calls(), strings{"set_pos 10"});
    EXPECT_EQ(file->seek(10, from_current), 15);
    EXPECT_EQ(this->calls(), (strings{"get_pos", "set_pos 15"}));
    EXPECT_EQ(file->seek(-1, from_end), 99);
    EXPECT_EQ(this->calls(), (strings{"size", "set_pos 99"}));
    EXPECT_EQ(file->seek(10, static_cast<morbase::whence>(3)), 0);
    EXPECT_EQ(file->seek(10, static_cast<morbase::whence>(-1)), 0);
    EXPECT_EQ(this->calls(), strings{});
}

TYPED_TEST(c_file, hostile_positions_wrap_instead_of_overflowing) {
    auto const file = this->by_pair();
    script.position = k_most;
    EXPECT_EQ(file->seek(1, from_current), k_least);
    script.position = -1;
    EXPECT_EQ(file->seek(k_least, from_current), k_most);
    script.size = k_most;
    EXPECT_EQ(file->seek(k_most, from_end), -2);
}

TYPED_TEST(c_file, position_and_size_are_the_plugins_whichever_base_is_asked) {
    script.position = 42;
    script.size = -3;
    auto const seeking = this->by_seek();
    typename TestFixture::stream& as_stream = *seeking;
    auto const& constant = std::as_const(*seeking);
    EXPECT_EQ(seeking->tell(), 42);
    EXPECT_EQ(as_stream.tell(), 42);
    EXPECT_EQ(this->calls(), (strings{"seek 0 1", "seek 0 1"}));
    EXPECT_EQ(constant.size(), -3);
    EXPECT_EQ(seeking->size(), -3);
    EXPECT_EQ(as_stream.size(), -3);
    EXPECT_EQ(this->calls(), (strings{"size", "size", "size"}));

    auto const paired = this->by_pair();
    typename TestFixture::stream& paired_stream = *paired;
    EXPECT_EQ(paired_stream.tell(), 42);
    EXPECT_EQ(this->calls(), strings{"get_pos"});
}

using c_file_reading = c_file<reading>;

TEST_F(c_file_reading, passes_bytes_and_results_through) {
    auto const file = by_seek();
    char byte = 0;
    script.result = 5;
    EXPECT_EQ(file->read(&byte, 7), 5);
    EXPECT_EQ(byte, 'r');
    EXPECT_EQ(file->read(&byte, (1ULL << 32) + 5), 5);
    script.result = -1;
    EXPECT_EQ(file->read(&byte, 0xffffffffU), -1);
    EXPECT_EQ(calls(), (strings{"read 7", "read 5", "read 4294967295"}));
}

TEST_F(c_file_reading, tells_by_its_seek_function_when_it_has_both) {
    auto const file = opened(reading::make(fake_seek, fake_get_pos, fake_set_pos));
    file->tell();
    file->seek(1, from_start);
    EXPECT_EQ(calls(), (strings{"seek 0 1", "seek 1 0"}));
}

using c_file_writing = c_file<writing>;

TEST_F(c_file_writing, passes_bytes_and_results_through) {
    auto const file = by_seek();
    script.result = -5;
    EXPECT_EQ(file->write("x", 1), -5);
    EXPECT_EQ(file->write("y", (1ULL << 32) + 5), -5);
    EXPECT_EQ(file->flush(), -5);
    EXPECT_EQ(calls(), (strings{"write 1 x", "write 5 y", "flush"}));
}

TEST_F(c_file_writing, tells_by_its_position_function_when_it_has_both) {
    auto const file = opened(writing::make(fake_seek, fake_get_pos, fake_set_pos));
    std::as_const(*file).tell();
    file->tell();
    file->seek(1, from_start);
    EXPECT_EQ(calls(), (strings{"get_pos", "get_pos", "seek 1 0"}));
}

// A text goes through a writer and a reader of the plug-in `memory`.
class memory_plugin : public testing::TestWithParam<char const*> {
  protected:
    memory_plugin() { registry->load_plugin(TEST_PLUGIN_DIR "/memory"); }

    template <typename interface>
    kivcore::instance<interface> make(std::string const& type) {
        return kivcore::create<interface>(registry, "io/" + type + "/" + GetParam() + "/tests/1.0");
    }

    support::registry_ptr registry = new kivcore::plugins("/nowhere");
};

TEST_P(memory_plugin, what_was_written_is_read) {
    auto const writer = make<kivcore::writer>("write");
    ASSERT_TRUE(writer);
    ASSERT_EQ(writer->open("any", "w"), 0);
    EXPECT_EQ(writer->write("hello world", 11), 11);
    EXPECT_EQ(writer->seek(-5, from_current), 6);
    EXPECT_EQ(writer->write("W", 1), 1);
    EXPECT_EQ(writer->tell(), 7);
    EXPECT_EQ(writer->size(), 11);
    EXPECT_EQ(writer->flush(), 0);
    EXPECT_EQ(writer->close(), 0);

    auto const file = make<kivcore::reader>("read");
    auto const other = make<kivcore::reader>("read");
    ASSERT_TRUE(file && other);
    EXPECT_LT(file->open("refused", "r"), 0);
    EXPECT_EQ(file->close(), 0);
    ASSERT_EQ(file->open("any", "r"), 0);
    ASSERT_EQ(other->open("any", "r"), 0);
    EXPECT_EQ(file->seek(-5, from_end), 6);
    char bytes[16] = "";
    EXPECT_EQ(file->peek(bytes, 1), 1);
    EXPECT_EQ(file->read(bytes, sizeof bytes), 5);
    EXPECT_STREQ(bytes, "World");
    EXPECT_EQ(file->read(bytes, sizeof bytes), 0);
    EXPECT_EQ(file->tell(), 11);
    EXPECT_EQ(other->tell(), 0);
    EXPECT_EQ(file->seek(-12, from_end), -1);
}

INSTANTIATE_TEST_SUITE_P(positioned_by, memory_plugin, testing::Values("seek", "pair"));

}  // namespace
