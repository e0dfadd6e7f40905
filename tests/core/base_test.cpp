#include <cstring>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <morbase/buffer.h>
#include <morbase/es.h>
#include <morbase/mutex.h>
#include <morbase/object_refcount.h>
#include <morbase/path.h>
#include <morbase/ptr_refcount.h>
#include <morbase/stream.h>
#include <morbase/text.h>

namespace {

namespace es = morbase::es;
using morbase::buffer;
using morbase::ptr_refcount;

// Counts its destructions, and may refer to another node.
struct node : morbase::object_refcount {
    explicit node(int& ended) : ends(&ended) {}
    node(node const&) = default;
    node& operator=(node const&) = default;
    ~node() override { ++*ends; }

    int* ends;
    ptr_refcount<node> next;
};

TEST(refcount, the_last_reference_deletes_the_object_and_a_copy_starts_without_references) {
    int ended = 0;
    ptr_refcount<node> first = new node(ended);
    ptr_refcount<node const> second = first;
    {
        ptr_refcount<node> const copy = new node(*first);
        *copy = *first;
    }
    EXPECT_EQ(ended, 1);
    *first = node(*first);
    EXPECT_EQ(ended, 2);  // only the temporary
    ptr_refcount<node> moved = std::move(first);
    moved = nullptr;
    EXPECT_EQ(ended, 2);
    second = nullptr;
    EXPECT_EQ(ended, 3);
}

TEST(refcount, a_pointer_may_be_assigned_from_a_member_of_its_object) {
    int ended = 0;
    ptr_refcount<node> list = new node(ended);
    list->next = new node(ended);
    list = list->next;  // the old head is the only owner of the new one
    EXPECT_EQ(ended, 1);
    EXPECT_FALSE(list->next);
}

TEST(refcount, an_object_without_references_survives_a_comparison) {
    int ended = 0;
    node* const fresh = new node(ended);
    ptr_refcount<node> const none;
    EXPECT_FALSE(none == fresh || fresh == none || !(none != fresh) || !(fresh != none));
    EXPECT_TRUE(none < fresh && !(fresh < none));
    EXPECT_EQ(ended, 0);
    ptr_refcount<node> const held = fresh;
    EXPECT_TRUE(held == fresh && fresh == held);
}

// Runs an action on two threads at once.
template <typename action>
void on_two_threads(action const& act) {
    std::thread other(act);
    act();
    other.join();
}

TEST(refcount_concurrency, no_reference_is_lost_between_threads) {
    int ended = 0;
    ptr_refcount<node> shared = new node(ended);
    on_two_threads([&] {
        for (int round = 0; round < 50000; ++round) {
            ptr_refcount<node> const copy = shared;
        }
    });
    EXPECT_EQ(ended, 0);
    shared = nullptr;
    EXPECT_EQ(ended, 1);
}

TEST(mutex_concurrency, only_one_thread_at_a_time_holds_the_lock) {
    for (bool const recursive : {false, true}) {
        morbase::mutex const guard(recursive);
        int count = 0;
        on_two_threads([&] {
            for (int round = 0; round < 20000; ++round) {
                std::lock_guard<morbase::mutex const> const held(guard);
                ++count;
            }
        });
        EXPECT_EQ(count, 40000) << "recursive: " << recursive;
    }
}

TEST(mutex_concurrency, a_second_lock_of_a_plain_mutex_raises_and_the_first_lock_stays) {
    morbase::mutex const guard(false);
    int inside = 0;
    guard.lock();
    try {
        guard.lock();
        FAIL() << "the second lock succeeded";
    } catch (es::call const& refused) {
        EXPECT_STREQ(refused.what(), "mutex is already locked by this thread");
    }
    std::thread other([&] {
        std::lock_guard<morbase::mutex const> const held(guard);
        EXPECT_EQ(inside, 1);
    });
    inside = 1;
    guard.unlock();
    other.join();
    guard.lock();  // free again, for this thread too
    guard.unlock();
}

TEST(buffer, may_be_assigned_from_its_own_bytes) {
    buffer const wanted("23456", 5);
    buffer own("0123456789", 10);
    own.assign(own.data() + 2, 5);
    EXPECT_EQ(own, wanted);
    own.assign(own.data(), own.size());
    buffer const copy = own;
    own.assign(nullptr, 0);
    EXPECT_EQ(own, buffer());
    EXPECT_EQ(copy, wanted);
}

TEST(es, every_kind_is_raised_with_its_own_copy_of_the_texts) {
    EXPECT_THROW(es::arg::raise("file", 1, "message"), es::arg);
    EXPECT_THROW(es::null::raise("file", 1, "message"), es::null);
    EXPECT_THROW(es::unsupp::raise("file", 1, "message"), es::unsupp);
    std::string message(5000, 'm');
    std::string file = "code/file";
    try {
        es::call::raise(file.c_str(), 77, message.c_str());
    } catch (es::call const& raised) {
        file.assign(file.size(), '?');
        message.assign(message.size(), '?');
        EXPECT_EQ(raised.what(), std::string(5000, 'm'));
        EXPECT_STREQ(raised.file(), "code/file");
        EXPECT_EQ(raised.line(), 77U);
    }
    es::base const empty(nullptr, 0, nullptr);
    EXPECT_EQ(std::string(empty.what()) + empty.file(), "");
}

TEST(text, formatting_returns_the_whole_text_or_raises) {
    for (std::size_t const length : {0U, 255U, 1023U, 1024U, 70000U}) {
        std::string const text(length, 'x');
        EXPECT_EQ(morbase::string_with_format("<%s:%d>", text.c_str(), -3), "<" + text + ":-3>");
    }
    // The "C" locale has no wide characters beyond ASCII.
    EXPECT_THROW(morbase::string_with_format("%ls", L"\u20ac"), es::call);
}

TEST(text, codes_and_timecodes_are_formatted) {
    EXPECT_EQ(morbase::string_with_fourcc(0x1f207e7fU, '.'), ". ~.");
    EXPECT_EQ(morbase::string_with_fourcc(0xffff0041U, '?'), "???A");
    EXPECT_EQ(morbase::string_with_timecode({1, 2, 3, 4, false}, true), "01:02:03:04");
    EXPECT_EQ(morbase::string_with_timecode({1, 2, 3, 4, true}, true), "01:02:03;04");
    EXPECT_EQ(morbase::string_with_timecode({100, 59, 9, 0, true}, false), "100:59:09");
}

TEST(text, base64_is_padded_and_has_no_line_breaks) {
    std::pair<std::string, std::string> const table[] = {
        {"", ""},
        {"f", "Zg=="},
        {"fo", "Zm8="},
        {"foo", "Zm9v"},
        {"\xfb\xff\xbf", "+/+/"},
        {std::string(3000, '\0'), std::string(4000, 'A')}};
    for (auto const& [raw, text] : table) {
        auto const* first = reinterpret_cast<unsigned char const*>(raw.data());
        EXPECT_EQ(morbase::string_encode_base64(first, raw.size()), text);
    }
    EXPECT_EQ(morbase::string_encode_base64(nullptr, 0), "");
}

TEST(path, exactly_one_separator_joins_the_parts) {
    char const* const table[][3] = {
        {"a", "b", "a/b"}, {"a/", "b", "a/b"}, {"a", "/b", "a/b"}, {"a//", "//b", "a/b"},
        {"", "b", "b"},    {"/", "b", "/b"},   {"///", "b", "/b"}, {"a/b", "c/d", "a/b/c/d"},
        {"a", "", "a/"}};
    for (auto const& [directory, name, whole] : table) {
        EXPECT_EQ(morbase::path_appended(directory, name, '/'), whole)
            << directory << " and " << name;
    }
    EXPECT_EQ(morbase::path_appended("a/", "b", '\\'), "a/\\b");
}

constexpr char const* k_digits = "0123456789";

// The ten digits, positioned at the fifth. It refuses to seek from the origin `refused`. A read of
// 0 bytes moves the position and throws.
struct memory final : morbase::stream::rda {
    long long read(void* target, unsigned long long count) override {
        if (count == 0) {
            position = 9;
            throw es::call("memory", 1, "nothing to read");
        }
        std::memcpy(target, k_digits + position, static_cast<std::size_t>(count));
        position += static_cast<long long>(count);
        return static_cast<long long>(count);
    }

    long long seek(long long offset, morbase::whence origin) override {
        long long const bases[] = {0, position, 10};
        return origin == refused ? -7 : position = bases[origin] + offset;
    }

    long long position = 4;
    int refused = -1;
};

struct endless final : morbase::stream::rd {
    long long read(void* /*target*/, unsigned long long /*count*/) override { return 1; }
};

TEST(stream, without_seek_tell_and_peek_fail) {
    endless stream;
    EXPECT_EQ(stream.tell(), -1);
    EXPECT_EQ(stream.peek(nullptr, 1), -1);
}

TEST(stream, tell_peek_and_size_keep_the_position) {
    memory stream;
    char peeked[4] = {};
    EXPECT_EQ(stream.tell(), 4);
    EXPECT_EQ(stream.size(), 10);
    EXPECT_EQ(stream.peek(peeked, 3), 3);
    EXPECT_STREQ(peeked, "456");
    EXPECT_EQ(stream.position, 4);
    EXPECT_THROW(stream.peek(peeked, 0), es::call);
    EXPECT_EQ(stream.position, 4);
    stream.refused = morbase::from_end;
    EXPECT_LT(stream.size(), 0);
    EXPECT_EQ(stream.position, 4);
    for (int const origin : {morbase::from_start, morbase::from_current}) {
        stream.refused = origin;
        EXPECT_EQ(stream.peek(peeked, 1), -1) << origin;
        EXPECT_EQ(stream.size(), -1) << origin;
    }
}

}  // namespace
