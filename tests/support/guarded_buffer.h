// An output buffer with marked ground on both sides, to show that a function writes its own room
// and nothing beside it.
#ifndef ZOMU_TESTS_SUPPORT_GUARDED_BUFFER_H
#define ZOMU_TESTS_SUPPORT_GUARDED_BUFFER_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

// `count` values of a trivial type T, at a position that is `misalignment` values off a fresh
// allocation. Buffer and guards start out filled with bytes of 0xA5.
template <typename T>
class GuardedBuffer {
  public:
    explicit GuardedBuffer(std::size_t count, std::size_t misalignment = 0)
        : room(kGuard + misalignment), size(count), storage(2 * kGuard + misalignment + count) {
        std::memset(static_cast<void*>(storage.data()), kMark, storage.size() * sizeof(T));
    }

    T* data() { return storage.data() + room; }
    const T* data() const { return storage.data() + room; }
    std::size_t count() const { return size; }
    T& operator[](std::size_t i) { return data()[i]; }

    testing::AssertionResult guardsIntact() const {
        const auto* bytes = reinterpret_cast<const std::uint8_t*>(storage.data());
        const std::size_t begin = room * sizeof(T);
        const std::size_t end = (room + size) * sizeof(T);
        for (std::size_t i = 0; i < storage.size() * sizeof(T); ++i) {
            if (i >= begin && i < end) {
                continue;
            }
            if (bytes[i] != kMark) {
                return testing::AssertionFailure()
                       << "written " << (i < begin ? begin - i : i - end) << " bytes "
                       << (i < begin ? "before" : "behind") << " the buffer";
            }
        }
        return testing::AssertionSuccess();
    }

    // True while no byte of the buffer itself has been written either.
    bool untouched() const {
        const auto* bytes = reinterpret_cast<const std::uint8_t*>(data());
        return std::all_of(bytes, bytes + size * sizeof(T),
                           [](std::uint8_t byte) { return byte == kMark; });
    }

  private:
    static constexpr std::size_t kGuard = 64;
    static constexpr std::uint8_t kMark = 0xA5;

    std::size_t room;
    std::size_t size;
    std::vector<T> storage;
};

#endif
