// Small, fully specified random generators. The simulator must give the same
// record for the same seed on every machine and library, so nothing here uses
// the implementation-defined distributions of <random>.
#pragma once

#include <cmath>
#include <cstdint>

namespace lumetra {

// SplitMix64: turns a seed (or a seed and a stream number) into good state.
inline uint64_t SplitMix64(uint64_t& state) {
  uint64_t z = (state += 0x9E3779B97F4A7C15ull);
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
  return z ^ (z >> 31);
}

// xoshiro256**: fast generator with 256 bits of state.
class Rng {
 public:
  explicit Rng(uint64_t seed, uint64_t stream = 0) {
    uint64_t s = seed ^ (stream * 0xD1B54A32D192ED03ull);
    for (uint64_t& v : s_) v = SplitMix64(s);
  }

  uint64_t Next() {
    const uint64_t result = Rotl(s_[1] * 5, 7) * 9;
    const uint64_t t = s_[1] << 17;
    s_[2] ^= s_[0];
    s_[3] ^= s_[1];
    s_[1] ^= s_[2];
    s_[0] ^= s_[3];
    s_[2] ^= t;
    s_[3] = Rotl(s_[3], 45);
    return result;
  }

  // Uniform in [0, 1).
  double Uniform() { return static_cast<double>(Next() >> 11) * 0x1.0p-53; }

  // Standard normal (Marsaglia's polar method).
  double Normal();

  // Poisson with the given mean (Knuth's product method for small means,
  // Hörmann's transformed rejection PTRS above).
  int64_t Poisson(double mean);

 private:
  static uint64_t Rotl(uint64_t x, int k) { return (x << k) | (x >> (64 - k)); }
  bool has_spare_ = false;
  double spare_ = 0;
  uint64_t s_[4];
};

}  // namespace lumetra
