// Chance that follows from a seed.
#ifndef ZOMU_TOOLS_DRAWING_DICE_H
#define ZOMU_TOOLS_DRAWING_DICE_H

#include <cstdint>
#include <random>

// Numbers from a seed that are the same with every standard library, which distributions are not.
class Dice {
  public:
    explicit Dice(std::uint64_t seed) : m_engine(seed) {}

    double unit() { return static_cast<double>(m_engine() >> 11) * 0x1p-53; }  // 0 to 1
    double within(double low, double high) { return low + (high - low) * unit(); }
    int below(int count) { return static_cast<int>(unit() * count); }
    bool chance(double share) { return unit() < share; }

  private:
    std::mt19937_64 m_engine;
};

#endif
