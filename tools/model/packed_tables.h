// The two projection tables of a model whose rows belong together, as one basis and two factors for
// each of its rows.
#ifndef ZOMU_TOOLS_MODEL_PACKED_TABLES_H
#define ZOMU_TOOLS_MODEL_PACKED_TABLES_H

#include <vector>

#include "model/packed_numbers.h"

// Row r of "6-1" and of "6-2" must be a multiple of the same row, as training and `zomu-model
// make` leave them; rows of zeros take no room. Throws std::runtime_error where a row is not.
void putTables(PackWriter& writer, const std::vector<float>& a, const std::vector<float>& b);

struct TablePair {
    std::vector<float> a;  // "6-1"
    std::vector<float> b;  // "6-2"
};

TablePair getTables(PackReader& reader);

#endif
