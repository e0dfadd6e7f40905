// Creation, description and search in a registry with ten to a million ids, compared with
// the least code that does the same.

#include <pthread.h>

#include <algorithm>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <pcrecpp.h>

#include <kivcore/kivcore.h>

#include "ids.h"
#include "paired.h"

namespace {

using bench::make_ids;
using bench::make_registry;
using bench::null_factory;
using bench::null_plugin;
using bench::run_pair;

// The ids that both sides look up: in random order.
std::vector<std::string> shuffled(std::vector<std::string> ids, std::size_t most) {
    std::shuffle(ids.begin(), ids.end(), std::mt19937(1));
    ids.resize(std::min(ids.size(), most));
    return ids;
}

// A mutex with the platform's default calls.
class platform_mutex {
  public:
    void lock() { pthread_mutex_lock(&handle); }
    void unlock() { pthread_mutex_unlock(&handle); }

  private:
    pthread_mutex_t handle = PTHREAD_MUTEX_INITIALIZER;
};

// Has the size of the registry's data for one id, so that the floor's entries are as far apart
// in the heap as the registry's.
morbase::ptr_refcount<kivcore::plugins::info> make_description() {
    morbase::ptr_refcount<kivcore::__info> const description(new kivcore::__info);
    for (char const* key : {"id", "info.developer.id", "info.name", "info.version",
                            "interface.category", "interface.key", "interface.type", "path"}) {
        description->values[key] = "name";
    }
    return description;
}

// The least code that finds an exact id: a half-full table with open addressing. Each slot
// holds a hash and the entry's position.
class floor_index {
  public:
    struct entry {
        std::string id;
        morbase::ptr_refcount<kivcore::plugins::factory> maker;
        morbase::ptr_refcount<kivcore::plugins::info> description;
    };

    explicit floor_index(std::vector<std::string> const& ids) {
        std::size_t size = 16;
        while (size < ids.size() * 2) {
            size *= 2;
        }
        slots.resize(size);
        for (std::string const& id : ids) {
            insert(id);
        }
    }

    entry const* find(std::string const& id) const {
        std::size_t const hash = std::hash<std::string>()(id);
        for (std::size_t i = hash & (slots.size() - 1);; i = (i + 1) & (slots.size() - 1)) {
            slot const& here = slots[i];
            if (here.place == nullptr) {
                return nullptr;
            }
            if (here.hash == hash && here.place->id == id) {
                return here.place.get();
            }
        }
    }

  private:
    struct slot {
        std::size_t hash = 0;
        std::unique_ptr<entry> place;
    };

    void insert(std::string const& id) {
        std::size_t const hash = std::hash<std::string>()(id);
        std::size_t i = hash & (slots.size() - 1);
        while (slots[i].place != nullptr) {
            i = (i + 1) & (slots.size() - 1);
        }
        slots[i].hash = hash;
        slots[i].place = std::make_unique<entry>(entry{id, new null_factory, make_description()});
    }

    std::vector<slot> slots;
};

// Calls `once` for the ids of a batch, cycling through the list.
template <typename work>
auto batch_over(std::vector<std::string> const& wanted, std::size_t batch, work once) {
    return [&wanted, batch, once, next = std::size_t{0}]() mutable {
        for (std::size_t i = 0; i < batch; ++i) {
            once(wanted[next]);
            next = next + 1 < wanted.size() ? next + 1 : 0;
        }
    };
}

// Both sides of a benchmark: a filled registry, and the floor with its mutex.
struct contest {
    explicit contest(benchmark::State const& state)
        : ids(make_ids(static_cast<std::size_t>(state.range(0)))),
          wanted(shuffled(ids, 100000)),
          registry(make_registry(ids)),
          index(ids) {}

    null_plugin* create_as_floor(std::string const& id) {
        mutex.lock();
        null_plugin* const made = index.find(id) != nullptr ? new null_plugin : nullptr;
        mutex.unlock();
        return made;
    }

    std::vector<std::string> ids;
    std::vector<std::string> wanted;
    morbase::ptr_refcount<kivcore::plugins> registry;
    floor_index index;
    platform_mutex mutex;
};

constexpr std::size_t k_batch = 2000;

void over_counts(benchmark::internal::Benchmark* rows) {
    rows->Arg(10)->Arg(1000)->Arg(10000)->Arg(100000)->Arg(1000000);
}

void create_by_id(benchmark::State& state) {
    contest sides(state);
    auto ours = batch_over(sides.wanted, k_batch, [&](std::string const& id) {
        benchmark::DoNotOptimize(sides.registry->create_with_id(id).get());
    });
    auto floor = batch_over(sides.wanted, k_batch, [&](std::string const& id) {
        null_plugin* made = sides.create_as_floor(id);
        benchmark::DoNotOptimize(made);
        delete made;
    });
    run_pair(
        state, k_batch, [&] { ours(); }, [&] { floor(); });
}
BENCHMARK(create_by_id)->Apply(over_counts)->Iterations(1500)->UseManualTime();

void describe_by_id(benchmark::State& state) {
    contest sides(state);
    auto ours = batch_over(sides.wanted, k_batch, [&](std::string const& id) {
        benchmark::DoNotOptimize(sides.registry->describe_plugin(id).get());
    });
    auto floor = batch_over(sides.wanted, k_batch, [&](std::string const& id) {
        sides.mutex.lock();
        floor_index::entry const* found = sides.index.find(id);
        morbase::ptr_refcount<kivcore::plugins::info> description;
        if (found != nullptr) {
            description = found->description;
        }
        sides.mutex.unlock();
        benchmark::DoNotOptimize(description.get());
    });
    run_pair(
        state, k_batch, [&] { ours(); }, [&] { floor(); });
}
BENCHMARK(describe_by_id)->Apply(over_counts)->Iterations(1500)->UseManualTime();

// The simplest search: match every id, compute each sort key once, sort.
struct search_key {
    std::string id;
    std::size_t prefix;
    unsigned int version;
};

unsigned int version_number(std::string const& id, std::size_t at) {
    unsigned int key = 0;
    for (int shift = 24; shift >= 0; shift -= 8) {
        char* end = nullptr;
        key |= static_cast<unsigned int>(std::strtoul(id.c_str() + at, &end, 10)) << shift;
        at = id.find('.', at);
        if (at++ == std::string::npos) {
            break;
        }
    }
    return key;
}

using plain_table =
    std::map<std::string, std::pair<morbase::ptr_refcount<kivcore::plugins::factory>,
                                    morbase::ptr_refcount<kivcore::plugins::info>>>;

plain_table make_plain_table(std::vector<std::string> const& ids) {
    plain_table table;
    for (std::string const& id : ids) {
        table.emplace(id, plain_table::mapped_type(new null_factory, make_description()));
    }
    return table;
}

std::vector<std::string> plain_search(plain_table const& table, std::string const& pattern) {
    pcrecpp::RE const expression(pattern);
    std::vector<search_key> found;
    for (auto const& [id, unused] : table) {
        if (expression.FullMatch(id)) {
            std::size_t const slash = id.rfind('/');
            found.push_back({id, slash, version_number(id, slash + 1)});
        }
    }
    std::sort(found.begin(), found.end(), [](search_key const& a, search_key const& b) {
        int const order = a.id.compare(0, a.prefix, b.id, 0, b.prefix);
        return order != 0 ? order < 0 : a.version > b.version;
    });
    std::vector<std::string> ids;
    ids.reserve(found.size());
    for (search_key& key : found) {
        ids.push_back(std::move(key.id));
    }
    return ids;
}

void find(benchmark::State& state, char const* pattern) {
    auto const ids = make_ids(static_cast<std::size_t>(state.range(0)));
    auto const registry = make_registry(ids);
    plain_table const table = make_plain_table(ids);
    if (plain_search(table, pattern) != registry->find_plugins(pattern)) {
        state.SkipWithError("the two searches disagree");
        return;
    }
    run_pair(
        state, 1, [&] { benchmark::DoNotOptimize(registry->find_plugins(pattern)); },
        [&] { benchmark::DoNotOptimize(plain_search(table, pattern)); });
}

constexpr struct {
    char const* name;
    char const* pattern;
} k_searches[] = {{"find/all", ".*"},
                  {"find/readers", "io/read/.*"},
                  {"find/wav", "io/read/wav/.*"},
                  {"find/any_wav", ".*/wav/.*"},
                  {"find/either_wav", "io/(read|write)/wav/.*"},
                  {"find/one_developer", "io/[rw].*/wav/acme/1\\..*"}};

void register_searches() {
    for (auto const& search : k_searches) {
        for (auto const& [count, iterations] : {std::pair(1000, 400), std::pair(10000, 60),
                                                std::pair(100000, 11), std::pair(1000000, 3)}) {
            benchmark::RegisterBenchmark(search.name, find, search.pattern)
                ->Arg(count)
                ->Iterations(iterations)
                ->UseManualTime();
        }
    }
}

// Calls `once` 20 times with each id, in each of two threads.
template <typename work>
void in_two_threads(std::vector<std::string> const& ids, work const& once) {
    auto const loop = [&] {
        for (int i = 0; i < 20; ++i) {
            std::for_each(ids.begin(), ids.end(), once);
        }
    };
    std::thread other(loop);
    loop();
    other.join();
}

// Two threads create at once; the floor uses the platform's default mutex.
void create_from_two_threads(benchmark::State& state) {
    contest sides(state);
    auto const ours = [&](std::string const& id) {
        benchmark::DoNotOptimize(sides.registry->create_with_id(id).get());
    };
    auto const floor = [&](std::string const& id) {
        null_plugin* made = sides.create_as_floor(id);
        benchmark::DoNotOptimize(made);
        delete made;
    };
    run_pair(
        state, 40.0 * static_cast<double>(sides.ids.size()),
        [&] { in_two_threads(sides.ids, ours); }, [&] { in_two_threads(sides.ids, floor); });
}
BENCHMARK(create_from_two_threads)->Arg(1000)->Iterations(101)->UseManualTime();

}  // namespace

int main(int argc, char** argv) {
    register_searches();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
}
