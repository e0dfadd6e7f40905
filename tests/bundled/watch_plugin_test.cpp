#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <kivcore/kivcore.h>
#include <support/bundled.h>
#include <support/files.h>

namespace {

namespace fs = std::filesystem;
using lines = std::vector<std::string>;

// Records every call as one line, with the path relative to the watched directory.
class recorder : public kivcore::monitor::handler {
  public:
    explicit recorder(std::string const& root) : prefix(root + '/') {}

    void changed(std::string const& path, e_change change) override {
        char const* const k_names[] = {"created ", "modified ", "removed "};
        EXPECT_EQ(path.compare(0, prefix.size(), prefix), 0) << path;
        calls.push_back(k_names[change] + path.substr(std::min(prefix.size(), path.size())));
        if (on_change) {
            on_change();
        }
    }
    void terminate() override { calls.emplace_back("terminate"); }
    void log(kivsys::_severity::severity severity, char const* format, ...) override {
        char text[8192];
        std::va_list arguments;
        va_start(arguments, format);
        EXPECT_GT(std::vsnprintf(text, sizeof text, format, arguments), 0);
        va_end(arguments);
        logged.push_back(std::string(kivsys::cstr_with_severity(severity)) + ' ' + text);
    }

    std::string prefix;
    lines calls;
    lines logged;
    std::function<void()> on_change;
};

struct watch_plugin : testing::Test {
    void SetUp() override {
        ASSERT_EQ(watch->kind(), kivcore::plugin::k_kind_monitor);
        fs::create_directory(root);
    }

    // All pending reports, in their order.
    lines reports() {
        while (watch->poll(0) > 0) {
        }
        return std::exchange(sink.calls, {});
    }
    std::string in_root(std::string const& name) const { return root + '/' + name; }
    void write(std::string const& name, std::string const& content = "x") const {
        std::ofstream(in_root(name), std::ios::app) << content;
    }

    support::temporary_directory place;
    std::string root = place.path("root");
    recorder sink{root};
    kivcore::instance<kivcore::monitor> watch =
        support::bundled<kivcore::monitor>("monitor", "watch");
};

TEST_F(watch_plugin, changes_are_reported_on_every_level_and_links_are_not_followed) {
    fs::create_directories(in_root("old/deep"));
    write("old/deep/file");
    fs::create_directory(place.path("elsewhere"));
    fs::create_directory_symlink(place.path("elsewhere"), in_root("old/link"));
    ASSERT_EQ(watch->start(root, &sink), 0);
    EXPECT_EQ(reports(), lines{});
    write("new");
    fs::create_directory_symlink(place.path("elsewhere"), in_root("link"));
    place.write("elsewhere/unseen", "");
    write("old/deep/file");
    write("old/deep/file");
    EXPECT_EQ(reports(), (lines{"created new", "created link", "modified old/deep/file"}));
    write("new");
    EXPECT_EQ(reports(), lines{"modified new"});
    fs::resize_file(in_root("old/deep/file"), 0);
    fs::remove(in_root("old/link"));
    fs::remove_all(in_root("old"));
    EXPECT_EQ(reports(), (lines{"modified old/deep/file", "removed old/link",
                                "removed old/deep/file", "removed old/deep", "removed old"}));
}

TEST_F(watch_plugin, contents_of_a_new_directory_are_reported_once) {
    ASSERT_EQ(watch->start(root, &sink), 0);
    std::thread maker([&] {
        for (int i = 0; i < 100; ++i) {
            fs::create_directories(in_root(std::to_string(i) + "/inner"));
            write(std::to_string(i) + "/inner/file");
        }
    });
    std::multiset<std::string> expected;
    for (int i = 0; i < 100; ++i) {
        for (char const* below : {"", "/inner", "/inner/file"}) {
            expected.insert("created " + std::to_string(i) + below);
        }
    }
    std::multiset<std::string> created;
    // A file that was reported before its content was written is also reported as modified.
    auto const note = [&] {
        std::copy_if(sink.calls.begin(), sink.calls.end(), std::inserter(created, created.end()),
                     [](std::string const& call) { return call[0] != 'm'; });
        sink.calls.clear();
    };
    while (created.size() < expected.size() && watch->poll(2000) > 0) {
        note();
    }
    maker.join();
    watch->poll(0);
    note();
    EXPECT_EQ(created, expected);
    write("42/inner/late");
    EXPECT_EQ(reports(), lines{"created 42/inner/late"});
}

TEST_F(watch_plugin, a_rename_is_reported_as_removal_and_creation_of_the_whole_tree) {
    fs::create_directories(in_root("a/sub"));
    write("a/sub/file");
    write("plain");
    ASSERT_EQ(watch->start(root, &sink), 0);
    fs::rename(in_root("a"), in_root("b"));
    write("b/sub/file");
    fs::rename(in_root("plain"), in_root("other"));
    EXPECT_EQ(reports(),
              (lines{"removed a/sub/file", "removed a/sub", "removed a", "created b",
                     "created b/sub", "created b/sub/file", "removed plain", "created other"}));
    fs::rename(in_root("b"), place.path("outside"));
    place.write("outside/sub/unseen", "");
    EXPECT_EQ(reports(), (lines{"removed b/sub/file", "removed b/sub", "removed b"}));
    fs::rename(place.path("outside"), in_root("back"));
    EXPECT_EQ(reports().size(), 4U);
    write("back/sub/file");
    EXPECT_EQ(reports(), lines{"modified back/sub/file"});
}

TEST_F(watch_plugin, whatever_replaces_a_file_or_directory_is_watched_instead) {
    for (char const* name : {"root/a", "root/b", "root/empty", "fresh"}) {
        fs::create_directory(place.path(name));
    }
    write("target");
    write("source");
    ASSERT_EQ(watch->start(root, &sink), 0);
    fs::rename(in_root("source"), in_root("target"));
    EXPECT_EQ(reports(), (lines{"removed source", "modified target"}));
    ASSERT_EQ(
        renameat2(AT_FDCWD, in_root("a").c_str(), AT_FDCWD, in_root("b").c_str(), RENAME_EXCHANGE),
        0);
    fs::rename(place.path("fresh"), in_root("empty"));
    reports();
    for (char const* name : {"a/1", "b/2", "empty/3", "target"}) {
        write(name);
    }
    EXPECT_EQ(reports(),
              (lines{"created a/1", "created b/2", "created empty/3", "modified target"}));
}

// Random changes to the watched directory and a sibling; the same seed makes the same changes.
struct random_changes {
    random_changes(support::temporary_directory const& directory, unsigned int seed)
        : place(directory), source(seed) {}

    unsigned int below(unsigned int limit) { return static_cast<unsigned int>(source() % limit); }

    // One of many paths. Most are in the watched directory, and most do not exist.
    std::string path() {
        std::string chosen = place.path(below(4) != 0 ? "root" : "outside");
        for (unsigned int depth = below(3) + 1; depth > 0; --depth) {
            chosen += std::string("/") + "abc"[below(3)];
        }
        return chosen;
    }

    // Most of the attempted changes fail.
    void change() {
        std::string const one = path();
        std::string const other = path();
        std::error_code ignored;
        switch (below(8)) {
            case 0:
            case 1:
                fs::create_directory(one, ignored);
                break;
            case 2:
                std::ofstream(one, std::ios::app) << 'x';
                break;
            case 3:
                fs::remove(one, ignored);
                break;
            case 4:
                renameat2(AT_FDCWD, one.c_str(), AT_FDCWD, other.c_str(), RENAME_EXCHANGE);
                break;
            case 5:  // a directory moves and leaves a link to itself, or elsewhere
                fs::rename(one, other, ignored);
                fs::create_symlink(below(2) != 0 ? other : path(), one, ignored);
                break;
            default:
                fs::rename(one, other, ignored);
                break;
        }
    }

    support::temporary_directory const& place;
    std::mt19937 source;
};

// The contents of a directory, by their relative paths.
std::set<std::string> listed(std::string const& root, bool only_directories = false) {
    std::set<std::string> found;
    for (auto const& entry : fs::recursive_directory_iterator(root)) {
        if (!only_directories || entry.symlink_status().type() == fs::file_type::directory) {
            found.insert(entry.path().string().substr(root.size() + 1));
        }
    }
    return found;
}

struct random_watch : watch_plugin {
    // Updates what a host would believe to exist, from the reports.
    void note() {
        for (std::string const& call : reports()) {
            std::string const path = call.substr(call.find(' ') + 1);
            if (call[0] == 'r') {
                reported.erase(path);
            } else {
                reported.insert(path);
            }
        }
    }

    void expect_that_every_directory_is_watched() {
        std::set<std::string> expected{"created probe"};
        write("probe");
        for (std::string const& directory : listed(root, true)) {
            write(directory + "/probe");
            expected.insert("created " + directory + "/probe");
        }
        for (std::string const& directory : listed(outside, true)) {
            place.write("outside/" + directory + "/probe", "");
        }
        lines const calls = reports();
        EXPECT_EQ(std::set<std::string>(calls.begin(), calls.end()), expected);
    }

    std::string outside = place.path("outside");
    std::set<std::string> reported;
};

// KIVCORE_WATCH_SEEDS sets the number of seeds.
TEST_F(random_watch, after_any_changes_each_directory_is_watched_under_its_current_path) {
    char const* const wanted = std::getenv("KIVCORE_WATCH_SEEDS");
    unsigned long const seeds = wanted != nullptr ? std::stoul(wanted) : 200;
    for (unsigned int seed = 0; seed < seeds && !HasFailure(); ++seed) {
        SCOPED_TRACE(seed);
        random_changes random(place, seed);
        fs::create_directory(outside);
        fs::create_directory(root);
        ASSERT_EQ(watch->start(root, &sink), 0);
        for (int step = 0; step < 150; ++step) {
            random.change();
            if (random.below(10) == 0) {
                note();
            }
        }
        note();
        EXPECT_EQ(std::exchange(reported, {}), listed(root));
        expect_that_every_directory_is_watched();
        EXPECT_EQ(sink.logged, lines{});
        EXPECT_EQ(watch->stop(), 0);
        fs::remove_all(root);
        fs::remove_all(outside);
    }
}

// Uses private mounts, which end with the process.
TEST_F(watch_plugin, a_directory_that_is_mounted_twice_is_watched_under_both_paths) {
    if (unshare(CLONE_NEWNS) != 0) {
        GTEST_SKIP() << "this process may not mount";
    }
    for (char const* name : {"a/sub", "b", "memory"}) {
        fs::create_directories(in_root(name));
    }
    ASSERT_EQ(mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr), 0);
    ASSERT_EQ(mount(in_root("a").c_str(), in_root("b").c_str(), nullptr, MS_BIND, nullptr), 0);
    ASSERT_EQ(mount("none", in_root("memory").c_str(), "tmpfs", 0, nullptr), 0);
    write("memory/file");
    auto const reports_in_any_order = [&] {
        lines const calls = reports();
        return std::multiset<std::string>(calls.begin(), calls.end());
    };
    ASSERT_EQ(watch->start(root, &sink), 0);
    write("a/sub/file");
    using report = std::multiset<std::string>;
    EXPECT_EQ(reports_in_any_order(), (report{"created a/sub/file", "created b/sub/file"}));
    fs::rename(in_root("a"), place.path("outside"));
    reports();
    place.write("outside/sub/late", "");
    EXPECT_EQ(reports_in_any_order(), report{"created b/sub/late"});
    EXPECT_EQ(umount(in_root("memory").c_str()), 0);
    EXPECT_EQ(reports_in_any_order(), report{"removed memory/file"});
    EXPECT_EQ(umount(in_root("b").c_str()), 0);
}

TEST_F(watch_plugin, removal_of_the_directory_is_reported_once_and_then_polling_fails) {
    auto const expect_end = [&](std::function<void()> const& end) {
        fs::create_directory(root);
        ASSERT_EQ(watch->start(root, &sink), 0);
        end();
        EXPECT_EQ(watch->poll(-1), 1);
        EXPECT_EQ(watch->poll(-1), -ENOENT);
        EXPECT_EQ(reports(), lines{"terminate"});
        EXPECT_EQ(watch->stop(), 0);
    };
    expect_end([&] { fs::remove(root); });
    expect_end([&] { fs::rename(root, place.path("moved")); });
}

TEST_F(watch_plugin, lost_events_cause_a_warning_and_a_comparison) {
    write("doomed");
    ASSERT_EQ(watch->start(root, &sink), 0);
    unsigned long limit = 0;
    std::ifstream("/proc/sys/fs/inotify/max_queued_events") >> limit;
    for (unsigned long i = 0; i <= limit / 2; ++i) {
        close(creat(in_root("churn").c_str(), 0600));
        unlink(in_root("churn").c_str());
    }
    fs::remove(in_root("doomed"));
    fs::create_directories(in_root("new/sub"));
    lines const calls = reports();
    ASSERT_GE(calls.size(), 3U);
    EXPECT_EQ(lines(calls.end() - 3, calls.end()),
              (lines{"removed doomed", "created new", "created new/sub"}));
    EXPECT_EQ(sink.logged,
              lines{"WARNING watch: events below " + root +
                    " were lost, so some modifications may not be reported; poll more often or "
                    "raise fs.inotify.max_queued_events"});
}

TEST_F(watch_plugin, a_directory_that_cannot_be_watched_causes_a_warning) {
    // Exceeds the maximum length of a path.
    ASSERT_EQ(place.shell("cd root && n=$(printf %0250d 0) && for i in $(seq 18); do "
                          "mkdir $n && cd -P $n || exit; done"),
              0);
    ASSERT_EQ(watch->start(root, &sink), 0);
    write("file");
    EXPECT_EQ(reports(), lines{"created file"});
    ASSERT_EQ(sink.logged.size(), 1U);
    EXPECT_NE(sink.logged[0].find(": File name too long; changes in it are not reported"),
              std::string::npos);
}

TEST_F(watch_plugin, a_refused_start_does_not_prevent_a_later_one) {
    EXPECT_EQ(watch->poll(0), -EBADF);
    EXPECT_EQ(watch->stop(), -EBADF);
    EXPECT_EQ(watch->start(root, nullptr), -EINVAL);
    EXPECT_EQ(watch->start("", &sink), -EINVAL);
    EXPECT_EQ(watch->start(in_root("missing"), &sink), -ENOENT);
    EXPECT_EQ(watch->start(place.write("file", ""), &sink), -ENOTDIR);
    EXPECT_EQ(watch->start(root + '\0', &sink), -EINVAL);
    ASSERT_EQ(watch->start(root, &sink), 0);
    EXPECT_EQ(watch->start(root, &sink), -EBUSY);
    write("dropped");
    EXPECT_EQ(watch->stop(), 0);
    EXPECT_EQ(watch->poll(0), -EBADF);
    ASSERT_EQ(watch->start(root + '/', &sink), 0);
    write("seen");
    EXPECT_EQ(reports(), lines{"created seen"});
}

TEST_F(watch_plugin, a_handler_may_throw_or_stop_the_monitor) {
    ASSERT_EQ(watch->start(root, &sink), 0);
    for (char const* name : {"a", "b", "c"}) {
        write(name);
    }
    sink.on_change = [] { throw std::runtime_error("from the handler"); };
    EXPECT_THROW(watch->poll(0), std::runtime_error);
    sink.on_change = [&] { EXPECT_EQ(watch->stop(), 0); };
    EXPECT_EQ(watch->poll(0), 1);
    EXPECT_EQ(sink.calls, (lines{"created a", "created b"}));
    EXPECT_EQ(watch->poll(0), -EBADF);
}

}  // namespace
