// The base of what the loaders of classes create.

#ifndef BENCH_PEERS_BASE_H
#define BENCH_PEERS_BASE_H

namespace peer {

struct base {
    virtual ~base() = default;
};

}  // namespace peer

#endif
