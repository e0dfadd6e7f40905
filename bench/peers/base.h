// The base class of the objects that class loaders create.

#ifndef BENCH_PEERS_BASE_H
#define BENCH_PEERS_BASE_H

namespace peer {

struct base {
    virtual ~base() = default;
};

}  // namespace peer

#endif
