#include <algorithm>
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

// Counts its own ends, and may hold another one.
struct node : morbase::object_refcount {
    explicit node(int& ended) : ends(&ended) {}
    node(node const&) = default;
    node& operator=(node const&) = default;
    ~node() override { ++*ends; }

    int* ends;
    ptr_refcount<node> next;
};

TEST(refcount, the_last_reference_deletes_the_object) {
    int ended = 0;
    ptr_refcount<node> first = new node(ended);
    ptr_refcount<node const> second = first;
    ptr_refcount<node> moved = std::move(first);
    moved = nullptr;
    EXPECT_EQ(ended, 0);
    second = nullptr;
    EXPECT_EQ(ended, 1);
}

TEST(refcount, a_copied_object_starts_without_references) {
    int ended = 0;
    ptr_refcount<node> const first = new node(ended);
    ptr_refcount<node> const held_twice = first;
    {
        ptr_refcount<node> const copy = new node(*first);
        *copy = *first;
    }
    EXPECT_EQ(ended, 1);
    *held_twice = node(*first);
    EXPECT_EQ(ended, 2);  // the temporary alone
}

TEST(refcount, a_pointer_may_be_assigned_from_what_it_holds) {
    int ended = 0;
    ptr_refcount<node> list = new node(ended);
    list->next = new node(ended);
    list = list->next;  // the old head is the only owner of the new one
    EXPECT_EQ(ended, 1);
    EXPECT_FALSE(list->next);
}

TEST(refcount_concurrency, no_count_is_lost_between_threads) {
    int ended = 0;
    ptr_refcount<node> shared = new node(ended);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([own = shared] {
            for (int round = 0; round < 50000; ++round) {
                ptr_refcount<node> const copy = own;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    threads.clear();
    EXPECT_EQ(ended, 0);
    shared = nullptr;
    EXPECT_EQ(ended, 1);
}

TEST(mutex_concurrency, one_thread_at_a_time_is_inside) {
    for (bool const recursive : {false, true}) {
        morbase::mutex const guard(recursive);
        int count = 0;
        auto const work = [&] {
            for (int round = 0; round < 20000; ++round) {
                std::lock_guard<morbase::mutex const> const held(guard);
                ++count;
            }
        };
        std::thread other(work);
        work();
        other.join();
        EXPECT_EQ(count, 40000) << "recursive: " << recursive;
    }
}

TEST(mutex_concurrency, a_second_lock_of_a_plain_mutex_raises_and_the_first_stays) {
    morbase::mutex const guard(false);
    int inside = 0;
    guard.lock();
    try {
        guard.lock();
        FAIL() << "the second lock was granted";
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

template <typename kind>
void expect_raised_as_its_kind() {
    std::string message(5000, 'm');
    std::string file = "code/file";
    try {
        kind::raise(file.c_str(), 77, message.c_str());
    } catch (es::base const& raised) {
        file.assign(file.size(), '?');  // the exception owns its texts
        message.assign(message.size(), '?');
        EXPECT_NE(dynamic_cast<kind const*>(&raised), nullptr);
        EXPECT_EQ(raised.what(), std::string(5000, 'm'));
        EXPECT_STREQ(raised.file(), "code/file");
        EXPECT_EQ(raised.line(), 77U);
    }
}

TEST(es, every_kind_is_raised_with_its_own_copy_of_the_texts) {
    expect_raised_as_its_kind<es::call>();
    expect_raised_as_its_kind<es::arg>();
    expect_raised_as_its_kind<es::null>();
    expect_raised_as_its_kind<es::unsupp>();
    EXPECT_STREQ(es::base(nullptr, 0, nullptr).what(), "");
    EXPECT_STREQ(es::base(nullptr, 0, nullptr).file(), "");
}

TEST(text, a_formatted_text_is_whole_or_raises) {
    for (std::size_t const length : {0U, 255U, 1023U, 1024U, 70000U}) {
        std::string const text(length, 'x');
        EXPECT_EQ(morbase::string_with_format("<%s:%d>", text.c_str(), -3), "<" + text + ":-3>");
    }
    // No wide character beyond ASCII exists in the "C" locale.
    EXPECT_THROW(morbase::string_with_format("%ls", L"\u20ac"), es::call);
}

TEST(text, codes_and_timecodes_have_their_forms) {
    EXPECT_EQ(morbase::string_with_fourcc(0x61766331U, '.'), "avc1");
    EXPECT_EQ(morbase::string_with_fourcc(0x1f207e7fU, '.'), ". ~.");
    EXPECT_EQ(morbase::string_with_fourcc(0xffff0041U, '?'), "???A");
    EXPECT_EQ(morbase::string_with_timecode({1, 2, 3, 4, false}, true), "01:02:03:04");
    EXPECT_EQ(morbase::string_with_timecode({1, 2, 3, 4, true}, true), "01:02:03;04");
    EXPECT_EQ(morbase::string_with_timecode({100, 59, 9, 0, true}, false), "100:59:09");
}

TEST(text, base64_is_padded_and_unbroken) {
    char const* const table[][2] = {
        {"", ""}, {"f", "Zg=="}, {"fo", "Zm8="}, {"foo", "Zm9v"}, {"\xfb\xff\xbf", "+/+/"}};
    for (auto const& [raw, text] : table) {
        auto const* first = reinterpret_cast<unsigned char const*>(raw);
        EXPECT_EQ(morbase::string_encode_base64(first, std::strlen(raw)), text);
    }
    EXPECT_EQ(morbase::string_encode_base64(nullptr, 0), "");
    std::vector<unsigned char> const many(3000);
    EXPECT_EQ(morbase::string_encode_base64(many.data(), many.size()), std::string(4000, 'A'));
}

TEST(path, exactly_one_separator_stands_between_the_parts) {
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

// Bytes in memory, at the fifth of them; refuses to seek from `refused`.
struct memory final : morbase::stream::rda {
    long long read(void* target, unsigned long long count) override {
        std::size_t const given = std::min<std::size_t>(count, content.size() - position);
        std::memcpy(target, content.data() + position, given);
        position += given;
        return static_cast<long long>(given);
    }

    long long seek(long long offset, morbase::whence origin) override {
        if (origin == refused) {
            return -7;
        }
        std::size_t const bases[] = {0, position, content.size()};
        position = bases[origin] + static_cast<std::size_t>(offset);
        return static_cast<long long>(position);
    }

    std::string content = "0123456789";
    std::size_t position = 4;
    int refused = -1;
};

struct endless final : morbase::stream::rd {
    long long read(void* /*target*/, unsigned long long /*count*/) override { return 1; }
};

TEST(stream, without_seek_there_is_no_telling_and_no_peeking) {
    endless stream;
    char peeked = 0;
    EXPECT_EQ(stream.tell(), -1);
    EXPECT_EQ(stream.peek(&peeked, 1), -1);
}

TEST(stream, tell_peek_and_size_leave_the_position) {
    memory stream;
    char peeked[3] = {};
    EXPECT_EQ(stream.tell(), 4);
    EXPECT_EQ(stream.size(), 10);
    EXPECT_EQ(stream.peek(peeked, sizeof peeked), 3);
    EXPECT_EQ(std::string(peeked, 3), "456");
    EXPECT_EQ(stream.position, 4U);
    stream.refused = morbase::from_end;
    EXPECT_LT(stream.size(), 0);
    EXPECT_EQ(stream.position, 4U);
    for (int const origin : {morbase::from_start, morbase::from_current}) {
        stream.refused = origin;
        EXPECT_EQ(stream.peek(peeked, 1), -1) << origin;
        EXPECT_EQ(stream.size(), -1) << origin;
    }
}

}  // namespace
