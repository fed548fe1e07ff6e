// The peers of the map engine, each used as efficiently as its interface allows.
#pragma once

#include "bench/maps/clouds.h"

#include <memory>

namespace vx::bench {

class Peer {
  public:
    virtual ~Peer() = default;
    virtual const char* name() const = 0;
    // Rebuilds the index.
    virtual void build() = 0;
    // Runs the queries from `begin` to `end` on the calling thread.
    virtual Found run(const Queries& queries, std::size_t begin, std::size_t end,
                      const Search& search) const = 0;
};

// How a peer keeps the nearest elements of a search.
enum class Collect {
    sorted, // inserted in order, up to kMostSorted
    buffer, // unsorted, cut by selection when twice as many as wanted are there, sorted at the end
    all     // all elements within the radius, then selection and sort
};
inline constexpr unsigned kMostSorted = 256;

// The cloud must outlive the peer.
std::unique_ptr<Peer> make_nanoflann(const Cloud& cloud, Collect collect = Collect::sorted);
std::unique_ptr<Peer> make_embree(const Cloud& cloud, Collect collect = Collect::sorted);

} // namespace vx::bench
