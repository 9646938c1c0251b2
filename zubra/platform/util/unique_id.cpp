#include "zubra/platform/util/unique_id.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <exception>
#include <random>

namespace zubra {
namespace {

// A bijection of 32-bit values with good avalanche: every input bit affects every output bit.
std::uint32_t Mix(std::uint32_t x) {
  x ^= x >> 16U;
  x *= 0x7FEB352DU;
  x ^= x >> 15U;
  x *= 0x846CA68BU;
  x ^= x >> 16U;
  return x;
}

// The process-wide state, seeded once on first use.
class IdSource {
 public:
  IdSource() {
    // The device may be missing or fail; the clock and the address then still vary.
    std::uint32_t random_start = 0;
    std::uint32_t random_key = 0;
    try {
      std::random_device device;
      random_start = device();
      random_key = device();
    } catch (const std::exception&) {
    }
    const auto now = static_cast<std::uint64_t>(
        std::chrono::high_resolution_clock::now().time_since_epoch().count());
    const auto address = static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(this));
    const std::uint32_t extra =
        Mix(static_cast<std::uint32_t>(now) ^ Mix(static_cast<std::uint32_t>(now >> 32U)) ^
            Mix(static_cast<std::uint32_t>(address >> 4U)));
    counter_.store(random_start ^ extra, std::memory_order_relaxed);
    key_ = random_key ^ Mix(extra + 0x9E3779B9U);
  }

  std::uint32_t Next() {
    // Mix is a bijection and the key is fixed, so distinct counter values give distinct ids.
    return Mix(counter_.fetch_add(1, std::memory_order_relaxed)) ^ key_;
  }

 private:
  std::atomic<std::uint32_t> counter_{0};
  std::uint32_t key_ = 0;
};

}  // namespace

std::uint32_t GetNearUniqueID() {
  static IdSource source;
  while (true) {
    const std::uint32_t id = source.Next();
    if (id != 0) return id;
  }
}

}  // namespace zubra
