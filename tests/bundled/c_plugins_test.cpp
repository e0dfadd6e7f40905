// The bundled C-style plug-ins, file and gzip, as a host uses them: loaded from
// their directories, created by id, working on real files.

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <kivcore/kivcore.h>
#include <support/bundled.h>
#include <support/files.h>

namespace {

using morbase::from_current;
using morbase::from_end;
using morbase::from_start;
using support::failure;
using support::sample;
using support::take;
using support::take_all;

constexpr long long k_farthest = std::numeric_limits<long long>::max();

struct c_plugins_test : testing::Test {
    static kivcore::instance<kivcore::reader> reader(std::string const& name) {
        return support::bundled<kivcore::reader>("read", name);
    }

    static kivcore::instance<kivcore::writer> writer(std::string const& name) {
        return support::bundled<kivcore::writer>("write", name);
    }

    static kivcore::instance<kivcore::reader> opened(std::string const& key,
                                                     std::string const& path) {
        auto made = reader(key);
        EXPECT_EQ(0, made->open(path, "r")) << path;
        return made;
    }

    std::string put(std::string const& key, std::string const& name, std::string const& mode,
                    std::string const& content) const {
        auto made = writer(key);
        EXPECT_EQ(0, made->open(files.path(name), mode)) << mode;
        for (std::size_t done = 0; done < content.size(); done += 70001) {
            std::size_t const count = std::min<std::size_t>(70001, content.size() - done);
            EXPECT_EQ(static_cast<int>(count), made->write(content.data() + done, count));
        }
        EXPECT_EQ(0, made->close());
        return files.path(name);
    }

    // What a command writes to standard output when run in the files' directory.
    std::string output_of(std::string const& command) const {
        EXPECT_EQ(0, files.shell("{ " + command + "; } >output")) << command;
        return support::read_file(files.path("output"));
    }

    // The path of a pipe with the same output. Only one pipe at a time.
    std::string piped(std::string const& command) const {
        EXPECT_EQ(0, files.shell("rm -f pipe; mkfifo pipe; { " + command + "; } >pipe &"));
        return files.path("pipe");
    }

    support::temporary_directory files;
};

TEST_F(c_plugins_test, a_seek_reaches_the_right_bytes) {
    std::string const content = sample(700000);
    auto const size = static_cast<long long>(content.size());
    for (std::string const key : {"file", "gzip"}) {
        auto const from = opened(key, put(key, "sought", "w", content));
        for (unsigned int i = 0; i < 40; ++i) {
            long long const target = i * 2654435761U % 750000;
            long long const base[] = {0, from->tell(), size};
            auto const origin = static_cast<morbase::whence>(i % 3);
            ASSERT_EQ(target, from->seek(target - base[i % 3], origin));
            std::string const there =
                content.substr(static_cast<std::size_t>(std::min(target, size)), 100);
            ASSERT_EQ(there, take(*from, 100)) << key << " at " << target;
            ASSERT_EQ(target + static_cast<long long>(there.size()), from->tell());
        }
    }
}

TEST_F(c_plugins_test, a_file_that_cannot_be_opened_is_refused_without_a_leak) {
    std::string const plain = files.write("plain", "no gzip file");
    std::string const empty = files.write("empty", "");
    std::string const missing = files.path("missing");
    std::string const unreachable = files.path("no/such/directory");
    struct {
        std::string key, path, mode;
        int read, write;  // the expected errno value; 0 is not tried
    } const cases[] = {
        {"file", missing, "r", ENOENT, 0},       {"gzip", missing, "r", ENOENT, 0},
        {"file", files.path(), "r", EISDIR, 0},  {"gzip", files.path(), "r", EISDIR, 0},
        {"file", plain, "", EINVAL, EINVAL},     {"gzip", plain, "", EINVAL, EINVAL},
        {"file", plain, "r", 0, EINVAL},         {"gzip", plain, "r+", EINVAL, EINVAL},
        {"file", plain, "w10", 0, EINVAL},       {"gzip", plain, "w10", 0, EINVAL},
        {"file", missing, "r+", 0, ENOENT},      {"gzip", plain, "wT", 0, EINVAL},
        {"file", unreachable, "w", 0, ENOENT},   {"gzip", unreachable, "a", 0, ENOENT},
        {"gzip", plain, "r", EBADMSG, 0},        {"gzip", empty, "r", EBADMSG, 0},
        {"gzip", "/proc/self/mem", "r", EIO, 0},
    };
    auto const before = support::open_files();
    for (auto const& [key, path, mode, read, write] : cases) {
        auto const from = reader(key);
        auto const to = writer(key);
        EXPECT_EQ(-read, read != 0 ? from->open(path, mode) : 0) << key << path << mode;
        EXPECT_EQ(-write, write != 0 ? to->open(path, mode) : 0) << key << path << mode;
        EXPECT_GT(0, from->read(nullptr, 1) & from->tell() & from->size());
        EXPECT_GT(0, to->write("x", 1) & to->flush() & to->tell() & to->size());
        EXPECT_EQ(0, from->close() | to->close());
    }
    EXPECT_EQ(before, support::open_files());
    EXPECT_EQ("no gzip file", support::read_file(plain));
}

TEST_F(c_plugins_test, writing_to_a_full_device_fails) {
    auto to = writer("file");
    ASSERT_EQ(0, to->open("/dev/full", "w"));
    EXPECT_EQ(-ENOSPC, to->write("x", 1));
    EXPECT_EQ(0, to->tell());
    for (bool const flushed : {false, true}) {
        to = writer("gzip");
        ASSERT_EQ(0, to->open("/dev/full", "w"));
        EXPECT_EQ(1, to->write("x", 1));
        if (flushed) {
            EXPECT_EQ(-ENOSPC, to->flush());
            EXPECT_EQ(-ENOSPC, to->write("x", 1)) << "the failure must be permanent";
        }
        EXPECT_EQ(-ENOSPC, to->close()) << "the buffered bytes are lost";
    }
}

TEST_F(c_plugins_test, files_may_exceed_4_gib) {
    long long const far = 5LL << 30;
    auto const to = writer("file");
    ASSERT_EQ(0, to->open(files.path("sparse"), "w"));
    ASSERT_EQ(far, to->seek(far, from_start));
    EXPECT_EQ(0, to->size());
    EXPECT_EQ(3, to->write("end", 3));
    EXPECT_EQ(far + 3, to->tell());
    auto const from = opened("file", files.path("sparse"));
    EXPECT_EQ(far - 1, from->seek(-4, from_end));
    EXPECT_EQ(std::string("\0end", 4), take_all(*from));
    EXPECT_EQ(k_farthest, from->seek(k_farthest, from_start));
    EXPECT_EQ("", take(*from, 1));
}

TEST_F(c_plugins_test, file_modes_replace_append_and_overwrite) {
    std::string const path = put("file", "text", "w", "0123456789");
    auto const to = writer("file");
    ASSERT_EQ(0, to->open(path, "r+"));
    EXPECT_EQ(4, to->seek(4, from_start));
    EXPECT_EQ(2, to->write("ab", 2));
    EXPECT_EQ(0, to->close());
    ASSERT_EQ(0, to->open(path, "a"));
    EXPECT_EQ(10, to->tell());
    EXPECT_EQ(-ESPIPE, to->seek(0, from_start));
    put("file", "text", "a", "XY");
    EXPECT_EQ(1, to->write("Z", 1));
    EXPECT_EQ(13, to->tell()) << "the other writer's bytes count";
    EXPECT_EQ("0123ab6789XYZ", support::read_file(path));
    EXPECT_EQ("new", support::read_file(put("file", "text", "w", "new")));
}

TEST_F(c_plugins_test, pipes_are_read_forward_only) {
    std::string const content = sample(20000);
    files.write("plain", content);
    auto from = opened("file", piped("cat plain"));
    EXPECT_EQ(-ESPIPE, from->size());
    EXPECT_EQ(-ESPIPE, from->seek(1, from_start));
    EXPECT_EQ(content, take_all(*from));
    EXPECT_EQ(20000, from->tell());

    from = opened("gzip", piped("gzip -c plain"));
    EXPECT_EQ(-ESPIPE, from->size());
    EXPECT_EQ(7000, from->seek(7000, from_start));
    EXPECT_EQ(content.substr(7000, 10), take(*from, 10));
    EXPECT_EQ(-ESPIPE, from->seek(-1, from_current));
    EXPECT_EQ(content.substr(7010), take_all(*from));
    EXPECT_EQ(20000, from->size()) << "known once the end was reached";

    from = opened("gzip", piped("gzip -c plain | head -c 100"));
    EXPECT_EQ(1000, from->seek(1000, from_start));
    EXPECT_EQ(failure(EBADMSG), take(*from, 1));
    EXPECT_EQ(failure(EBADMSG), take(*from, 1));
}

TEST_F(c_plugins_test, gzip_agrees_with_the_gzip_program) {
    std::string const content = sample(200000);
    std::string const path = put("gzip", "a.gz", "w1", content);
    EXPECT_TRUE(content == output_of("gzip -dc a.gz"));
    EXPECT_GT(std::filesystem::file_size(path),
              std::filesystem::file_size(put("gzip", "b.gz", "wb9", content)));

    put("gzip", "a.gz", "a", "second member");
    std::string const whole = content + "second memberthird member";
    EXPECT_TRUE(whole == output_of("printf 'third member' | gzip >>a.gz; gzip -dc a.gz"));
    for (std::string const& tail : {std::string(), std::string(600, '\0'), std::string("rest")}) {
        auto const from = opened("gzip", files.write("tail.gz", support::read_file(path) + tail));
        EXPECT_EQ(-5 + static_cast<long long>(whole.size()), from->seek(-5, from_end));
        EXPECT_EQ("ember", take_all(*from));
        EXPECT_EQ(0, from->seek(0, from_start));
        EXPECT_TRUE(whole == take_all(*from));
    }
}

TEST_F(c_plugins_test, a_read_returns_what_is_in_a_pipe_and_does_not_wait_for_more) {
    for (std::string const key : {"file", "gzip"}) {
        std::string const path = files.path(key);
        ASSERT_EQ(0, files.shell("mkfifo " + key));
        std::fstream const both_ends(path);  // keeps either open from waiting for the other
        auto const to = writer(key);
        ASSERT_EQ(0, to->open(path, "w"));
        auto const from = reader(key);
        for (std::string const text : {"first", "second"}) {
            EXPECT_EQ(static_cast<int>(text.size()), to->write(text.data(), text.size()));
            EXPECT_EQ(0, to->flush());
            if (text == "first") {
                ASSERT_EQ(0, from->open(path, "r"));
            }
            EXPECT_EQ(text, take(*from, 100)) << key;
        }
    }
}

TEST_F(c_plugins_test, a_truncated_or_damaged_gzip_file_never_looks_complete) {
    std::string const text = sample(100);
    put("gzip", "whole.gz", "w", text);
    std::string const whole = support::read_file(put("gzip", "whole.gz", "a", text));
    auto const from = reader("gzip");
    auto const verdict = [&](std::string const& bytes) {
        from->close();
        int const refused = from->open(files.write("bad.gz", bytes), "r");
        return refused != 0 ? "!" + std::to_string(refused) : take_all(*from);
    };
    auto const is_failure = [](std::string const& end) {
        return end.find(failure(EBADMSG)) != std::string::npos;
    };
    for (std::size_t length = 0; length < whole.size(); ++length) {
        std::string const end = verdict(whole.substr(0, length));
        bool const is_first_member = length == whole.size() / 2 && end == text;
        EXPECT_TRUE(is_first_member || is_failure(end)) << "cut to " << length;
    }
    EXPECT_EQ(text + text + failure(EBADMSG), verdict(whole.substr(0, whole.size() - 8)));
    // Some bits of a header, for example its time, do not affect the content.
    for (std::size_t bit = 0; bit < 8 * whole.size(); ++bit) {
        std::string bytes = whole;
        bytes[bit / 8] = static_cast<char>(bytes[bit / 8] ^ (1 << bit % 8));
        std::string const end = verdict(bytes);
        EXPECT_TRUE(end == text + text || is_failure(end)) << "damaged at bit " << bit;
    }
}

TEST_F(c_plugins_test, a_seek_does_not_hide_gzip_damage) {
    std::string const content = sample(2000000);
    std::string const whole = support::read_file(put("gzip", "whole.gz", "w", content));
    std::string damaged = whole;
    damaged.replace(whole.size() / 2, 40, 40, 'x');
    auto const to = writer("gzip");
    ASSERT_EQ(0, to->open(files.path("flushed.gz"), "w"));
    ASSERT_EQ(990000, to->write(content.data(), 990000));
    ASSERT_EQ(0, to->flush());
    // A block of an invalid type follows.
    std::string const invalid = support::read_file(files.path("flushed.gz")) + '\x07';
    for (std::string const& bytes : {whole.substr(0, whole.size() / 2), damaged, invalid}) {
        auto const from = opened("gzip", files.write("bad.gz", bytes));
        EXPECT_EQ(-EBADMSG, from->size());
        EXPECT_EQ(-EBADMSG, from->seek(0, from_end));
        std::string const before = take_all(*from);
        EXPECT_TRUE(content.substr(0, 990000) == before.substr(0, 990000)) << before.size();
        EXPECT_NE(std::string::npos, before.find(failure(EBADMSG)));
        EXPECT_EQ(failure(EBADMSG), take(*from, 10007)) << "a failure must be permanent";
        EXPECT_EQ(k_farthest, from->seek(k_farthest, from_start));
        EXPECT_EQ(failure(EBADMSG), take(*from, 1));
        EXPECT_EQ(1000, from->seek(1000, from_start));
        EXPECT_EQ(content.substr(1000, 500), take(*from, 500));
    }
}

TEST_F(c_plugins_test, a_gzip_writer_seeks_forward_only) {
    auto const to = writer("gzip");
    ASSERT_EQ(0, to->open(files.path("gap.gz"), "w"));
    EXPECT_EQ(3, to->write("abc", 3));
    EXPECT_EQ(-EINVAL, to->seek(-1, from_current));
    EXPECT_EQ(k_farthest, to->seek(k_farthest, from_start));
    EXPECT_EQ(5, to->seek(2, from_end)) << "a seek alone must not change the size";
    EXPECT_EQ(3, to->size());
    EXPECT_EQ(1, to->write("d", 1));
    EXPECT_EQ(6, to->size());
    EXPECT_EQ(6, to->tell());
    EXPECT_EQ(0, to->flush());

    std::string const expected("abc\0\0d", 6);
    auto const from = opened("gzip", files.path("gap.gz"));
    EXPECT_EQ(expected, take(*from, 100)) << "flushed bytes must be there before the close";
    EXPECT_EQ(1000, to->seek(1000, from_start));
    EXPECT_EQ(0, to->close());
    EXPECT_EQ(expected, take_all(*opened("gzip", files.path("gap.gz"))));
}

}  // namespace
