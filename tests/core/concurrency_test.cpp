#include <pthread.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <thread>

#include <gtest/gtest.h>

#include <morbase/es.h>
#include <support/capture.h>
#include <support/fakes.h>
#include <support/files.h>

namespace {

namespace fs = std::filesystem;

using support::id_of;

constexpr int k_threads = 6;
constexpr int k_rounds = 40;

std::string key_of(int thread, int round) {
    return std::to_string(thread) + "-" + std::to_string(round);
}

// Runs act(number) on several threads, started together.
template <typename action>
void in_parallel(action const& act, int count = k_threads) {
    std::atomic<int> waiting{count};
    std::vector<std::thread> threads;
    for (int number = 0; number < count; ++number) {
        threads.emplace_back([&, number] {
            --waiting;
            while (waiting > 0) {
                std::this_thread::yield();
            }
            act(number);
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
}

class concurrency : public testing::Test {
  protected:
    // Makes a plug-in directory with the shared object of `memory`.
    void install(std::string const& directory, std::string const& key) {
        files.write(directory + "/plugin.xml", support::reader_element(key));
        fs::create_directories(files.path(directory + "/darwin/x86"));
        fs::copy(support::built_object("memory"), files.path(directory + "/darwin/x86/plugin.so"));
    }

    support::temporary_directory files;
    support::registry_ptr registry = new kivcore::plugins("/nowhere");
};

TEST_F(concurrency, broken_and_valid_directories_load_in_parallel) {
    files.write("broken/plugin.xml", "<bundle><plugin></bundle>");
    install("valid", "valid");
    support::captured_output output;
    std::atomic<int> loaded{0};
    in_parallel([&](int /*thread*/) { loaded += registry->load_plugins(files.path()); });
    output.out.text();
    EXPECT_EQ(loaded, k_threads);
    std::string expected;
    for (int failure = 0; failure < k_threads; ++failure) {
        expected +=
            "failed to load plugin: Parser error: \"Opening and ending tag mismatch: "
            "plugin line 1 and bundle\n\"\n";
    }
    EXPECT_EQ(output.err.text(), expected);
}

TEST_F(concurrency, a_cancelled_thread_first_finishes_what_must_not_be_interrupted) {
#ifdef _LIBCPP_VERSION
    // The C library unwinds with libgcc, but the personality routine asks LLVM's libunwind.
    GTEST_SKIP() << "with two unwinders in the process, a cancelled thread crashes";
#endif
    files.write("broken/plugin.xml", "<bundle><plugin></bundle>");
    install("valid", "valid");
    support::captured_output output;
    std::string done;
    auto const work = [&](int /*thread*/) {
        pthread_cancel(pthread_self());
        done += std::to_string(registry->load_plugins(files.path())) + " loaded";
        auto file = kivcore::create<kivcore::reader>(registry, id_of("valid"));
        done += file && file->open("any", "r") == 0 ? ", opened" : "";
        file = {};
        registry = nullptr;
        done += ", closed";
        pthread_testcancel();
        done += ", not cancelled";
    };
    in_parallel(work, 1);
    EXPECT_EQ(done, "1 loaded, opened, closed");
}

TEST_F(concurrency, one_thread_wins_an_id_and_messages_stay_whole) {
    std::string notices;
    for (int loser = 1; loser < k_threads; ++loser) {
        notices += "Not inserting plugin " + id_of("k") +
                   " in database (already present with native interface)\n";
    }
    for (int round = 0; round < k_rounds; ++round) {
        registry = new kivcore::plugins("/nowhere");
        std::atomic<int> entered{0};
        support::capture out(1);
        in_parallel([&](int /*thread*/) {
            entered += registry->register_with_id(id_of("k"), nullptr, "") ? 1 : 0;
        });
        EXPECT_EQ(out.text(), notices);
        EXPECT_EQ(entered, 1);
    }
}

// Many threads use all operations of one registry, then of the next one, for a while.
TEST_F(concurrency, a_long_stress_counts_exactly) {
    constexpr int k_many = 16;
    constexpr int k_steps = 10;
    char const* const seconds = std::getenv("KIVCORE_STRESS_SECONDS");
    auto const end = std::chrono::steady_clock::now() +
                     std::chrono::seconds(seconds != nullptr ? std::stoi(seconds) : 5);
    install("all/shared", "shared");
    for (int thread = 0; thread < k_many; ++thread) {
        install(key_of(thread, 0) + "/own", "own" + std::to_string(thread));
    }
    int created = 0;  // guarded by the registry's lock
    support::factory_ptr const counting = new support::fake_factory([&] {
        ++created;
        return new support::fake_reader;
    });
    do {
        registry = new kivcore::plugins("/nowhere");
        created = 0;
        std::atomic<int> loaded{0};
        std::atomic<int> entered{0};
        std::atomic<int> wrong{0};
        auto const work = [&](int thread) {
            loaded += registry->load_plugins(files.path("all"));
            loaded += registry->load_plugins(files.path(key_of(thread, 0)));
            std::size_t seen = 0;
            for (int step = 0; step < k_steps; ++step) {
                std::string const own = id_of(key_of(thread, step));
                std::string const common = id_of(key_of(k_many, step));
                entered += registry->register_with_id(own, counting, own) ? 1 : 0;
                entered += registry->register_with_id(common, {}, "") ? 1 : 0;
                std::size_t const now = registry->find_plugins("io/.*").size();
                auto const file = kivcore::create<kivcore::reader>(registry, id_of("shared"));
                bool const right = now > seen && file && file->open("any", "r") == 0 &&
                                   registry->create_with_id(own) &&
                                   value_of(*registry->describe_plugin(own), "info.name") == own;
                wrong += right ? 0 : 1;
                seen = now;
            }
        };
        support::capture out(1);  // a message for each id that another thread registered first
        in_parallel(work, k_many);
        out.text();
        EXPECT_EQ(wrong, 0);
        EXPECT_EQ(created, k_many * k_steps);
        EXPECT_EQ(loaded, 2 * k_many);
        EXPECT_EQ(entered, k_many * k_steps + k_steps);
        EXPECT_EQ(registry->find_plugins(".*").size(),
                  static_cast<std::size_t>(entered + k_many + 1));
    } while (std::chrono::steady_clock::now() < end && !HasFailure());
}

// Until the thread has used more time of a processor than a start takes.
void wait_for_work_of(std::thread& worker) {
    clockid_t clock = 0;
    timespec used = {};
    ASSERT_EQ(pthread_getcpuclockid(worker.native_handle(), &clock), 0);
    while (clock_gettime(clock, &used) == 0 && used.tv_sec == 0 && used.tv_nsec < 5000000) {
        std::this_thread::yield();
    }
}

// If the steps of a match were not limited, the search would never end.
TEST_F(concurrency, a_slow_search_ends_and_blocks_no_other_thread) {
    std::string const id = "a/b/c/d/" + std::string(60, 'a');
    for (char const* end : {"", "d", "e"}) {
        registry->register_with_id(id + end, nullptr, "");
    }
    std::atomic<bool> is_searching{true};
    std::thread searcher([&] {
        EXPECT_TRUE(registry->find_plugins("a/b/c/d/(a|a)*[bc]").empty());
        is_searching = false;
    });
    wait_for_work_of(searcher);
    int described = 0;
    while (is_searching) {
        described += registry->describe_plugin(id) ? 1 : 0;
    }
    searcher.join();
    EXPECT_GT(described, 10);
}

TEST_F(concurrency, instances_survive_a_takeover_by_a_native_plugin) {
    install("memory", "native");
    for (int round = 0; round < 10; ++round) {
        registry = new kivcore::plugins("/nowhere");
        registry->load_plugin(files.path("memory"));
        std::atomic<int> working{0};
        support::capture out(1);
        in_parallel([&](int thread) {
            if (thread == 0) {
                registry->load_plugin(TEST_PLUGIN_DIR "/native");
            }
            auto const file = kivcore::create<kivcore::reader>(registry, id_of("native"));
            bool const works =
                file && file->open("any", "r") == 0 && file->seek(0, morbase::from_end) >= 0;
            working += works ? 1 : 0;
        });
        EXPECT_EQ(out.text(), "Overriding plugin io/read/native/tests/1.0 with native interface\n");
        EXPECT_EQ(working, k_threads);
    }
}

TEST_F(concurrency,
       a_create_function_that_calls_its_registry_is_refused_and_the_registry_stays_usable) {
    support::registry_ptr const other = new kivcore::plugins("/nowhere");
    auto* const plugins = registry.get();
    registry->register_with_info(support::described_as("", "nested"),
                                 new support::fake_factory([=] {
                                     plugins->find_plugins(".*");
                                     return nullptr;
                                 }));
    registry->register_with_info(
        support::described_as("", "k"), new support::fake_factory([=] {
            other->find_plugins(".*");  // another registry has its own lock
            return new support::fake_reader;
        }));
    std::atomic<int> refused{0};
    std::atomic<int> created{0};
    in_parallel([&](int /*thread*/) {
        for (int round = 0; round < k_rounds; ++round) {
            try {
                registry->create_with_id(id_of("nested"));
            } catch (morbase::es::call const& error) {
                std::string const reason = error.what();
                refused += reason == "mutex is already locked by this thread" ? 1 : 0;
            }
            created += registry->create_with_id(id_of("k")) ? 1 : 0;
        }
    });
    EXPECT_EQ(refused, k_threads * k_rounds);
    EXPECT_EQ(created, k_threads * k_rounds);
}

}  // namespace
