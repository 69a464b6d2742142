// The table of landmark_cases.csv, which landmark_cases.py made of the sample faces.
#ifndef ZOMU_TESTS_CHECK_LANDMARK_CASES_H
#define ZOMU_TESTS_CHECK_LANDMARK_CASES_H

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "zomu.h"

struct LandmarkCase {
    std::string name;
    int width = 0;
    int height = 0;
    std::string fault;  // the word for it
    std::vector<LandmarkEntry> entries;

    // A block of memory that ends with the last entry: what reads farther is seen.
    std::unique_ptr<unsigned char[]> block() const {
        constexpr std::size_t kHead = offsetof(LandmarkRecord, entries);
        auto bytes =
            std::make_unique<unsigned char[]>(kHead + entries.size() * sizeof(LandmarkEntry));
        const auto count = static_cast<std::int32_t>(entries.size());
        std::memcpy(bytes.get(), &count, sizeof count);
        if (!entries.empty()) {
            std::memcpy(bytes.get() + kHead, entries.data(),
                        entries.size() * sizeof(LandmarkEntry));
        }
        return bytes;
    }
};

inline std::vector<LandmarkCase> landmarkCases() {
    std::ifstream file(ZOMU_LANDMARK_CASES);
    std::vector<LandmarkCase> cases;
    std::string line;
    std::getline(file, line);  // the names of the columns
    while (std::getline(file, line)) {
        std::istringstream columns(line);
        LandmarkCase one;
        std::string width, height, entry;
        std::getline(columns, one.name, ';');
        std::getline(columns, width, ';');
        std::getline(columns, height, ';');
        std::getline(columns, one.fault, ';');
        one.width = std::stoi(width);
        one.height = std::stoi(height);
        while (std::getline(columns, entry, ',')) {
            char* end = nullptr;
            const auto id = static_cast<std::int32_t>(std::strtol(entry.c_str(), &end, 10));
            const float x = std::strtof(end, &end);
            one.entries.push_back({id, x, std::strtof(end, &end)});
        }
        cases.push_back(one);
    }
    return cases;
}

#endif
