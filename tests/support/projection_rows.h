// The rows of a projection as its file holds them.
#ifndef ZOMU_TESTS_SUPPORT_PROJECTION_ROWS_H
#define ZOMU_TESTS_SUPPORT_PROJECTION_ROWS_H

#include <vector>

#include "model/model_tables.h"

// 500 rows, one after the other, from row `first` of the table on: 0 for "6-1", 500 for "6-2".
inline std::vector<float> rowsOf(const ProjectionTable& table, int first) {
    std::vector<float> rows;
    rows.reserve(std::size_t{kProjectionCount} * kFeatureCount);
    for (int row = first; row < first + kProjectionCount; ++row) {
        for (int column = 0; column < kFeatureCount; ++column) {
            rows.push_back(table.at(row, column));
        }
    }
    return rows;
}

#endif
