#ifndef ZVX_OMX_SEQUENCE_RANDOM_H
#define ZVX_OMX_SEQUENCE_RANDOM_H

/*
 * The player's source of choices: xoshiro256** seeded through splitmix64, so one 64-bit seed gives the
 * same choices on every machine and build (the standard library's distributions do not promise that).
 */

#include <cstdint>
#include <initializer_list>

class zvx_seq_random {
public:
    explicit zvx_seq_random(uint64_t seed)
    {
        for (uint64_t &word : state_) {
            seed += 0x9e3779b97f4a7c15ull;
            uint64_t mixed = seed;
            mixed = (mixed ^ (mixed >> 30)) * 0xbf58476d1ce4e5b9ull;
            mixed = (mixed ^ (mixed >> 27)) * 0x94d049bb133111ebull;
            word = mixed ^ (mixed >> 31);
        }
    }

    uint64_t next()
    {
        const uint64_t result = rotate(state_[1] * 5, 7) * 9;
        const uint64_t shifted = state_[1] << 17;
        state_[2] ^= state_[0];
        state_[3] ^= state_[1];
        state_[1] ^= state_[2];
        state_[0] ^= state_[3];
        state_[2] ^= shifted;
        state_[3] = rotate(state_[3], 45);
        return result;
    }

    /* Uniform in [0, bound); the bias of a 64-bit remainder is far below what a test run can see. */
    uint32_t below(uint32_t bound) { return bound == 0 ? 0 : static_cast<uint32_t>(next() % bound); }
    /* Uniform in [low, high]. */
    uint32_t between(uint32_t low, uint32_t high) { return low + below(high - low + 1); }
    /* True with the given chance in percent. */
    bool chance(uint32_t percent) { return below(100) < percent; }

    template <typename T> T pick(std::initializer_list<T> choices) { return choices.begin()[below(choices.size())]; }

private:
    static uint64_t rotate(uint64_t value, int bits) { return (value << bits) | (value >> (64 - bits)); }

    uint64_t state_[4] = {};
};

#endif
