// Checked access to a layer's settings that have one entry for each input.
#ifndef ZOMU_LAYERS_LIST_ENTRY_H
#define ZOMU_LAYERS_LIST_ENTRY_H

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <vector>

// Throws std::out_of_range, "invalid vector<T> subscript", if the list has no such entry.
template <typename T>
T listEntry(const std::vector<T>& list, std::int32_t index) {
    if (static_cast<std::size_t>(index) >= list.size()) {
        throw std::out_of_range("invalid vector<T> subscript");
    }
    return list[static_cast<std::size_t>(index)];
}

#endif
